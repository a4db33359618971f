'use strict';

const {world, proximities, events, other} = JSON.parse(document.getElementById('data').textContent);
const element = (id) => document.getElementById(id);
const end = [...events, ...(other ? other.events : [])].reduce((last, event) => Math.max(last, event.at), 1);

/** How many items of a list in order of `at` are not later than the moment. */
function countUpTo(list, moment) {
  let low = 0;
  let high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (list[middle].at <= moment) low = middle + 1;
    else high = middle;
  }
  return low;
}

/** The last of them; undefined: none. */
function lastUpTo(list, moment) {
  return list[countUpTo(list, moment) - 1];
}

/** Where the device really is: on straight lines between the corners of its walk. */
function placeAt(moment) {
  const count = countUpTo(world.walk, moment);
  const from = world.walk[Math.max(0, count - 1)];
  const to = world.walk[Math.min(count, world.walk.length - 1)];
  const share = to.at > from.at ? Math.max(0, moment - from.at) / (to.at - from.at) : 0;
  return from.place.map((degrees, index) => degrees + (to.place[index] - degrees) * share);
}

/** The items by what `key` gives for them, in the order in which each first comes. */
function grouped(items, key) {
  const groups = new Map();
  for (const item of items) {
    const name = key(item);
    if (!groups.has(name)) groups.set(name, []);
    groups.get(name).push(item);
  }
  return groups;
}

/** "0:01:53.000" */
function clock(at) {
  const part = (number, digits) => String(Math.floor(number)).padStart(digits, '0');
  const milliseconds = Math.round(at * 1000);
  return `${part(milliseconds / 3600000, 1)}:${part(milliseconds / 60000 % 60, 2)}:` +
      `${part(milliseconds / 1000 % 60, 2)}.${part(milliseconds % 1000, 3)}`;
}

function add(parent, name, className, text) {
  const made = parent.appendChild(document.createElement(name));
  if (className) made.className = className;
  if (text !== undefined) made.textContent = text;
  return made;
}

function showHeader() {
  document.title = element('title').textContent = world.title || world.file;
  element('facts').textContent = `${world.file}, ${clock(end)} from ${world.start}`;
  const verdict = element('verdict');
  if (world.expected === 0) return;
  const met = world.met === world.expected;
  verdict.className = met ? 'met' : 'unmet';
  verdict.textContent = met ? `all ${world.expected} expectations met` :
                              `${world.expected - world.met} of ${world.expected} expectations not met`;
}

const changesOfBeacon = grouped(proximities, (change) => change.beacon);

/** Text from documents, as text: the map's own way with strings is to take them for markup. */
function textElement(lines) {
  const made = document.createElement('div');
  for (const line of lines) add(made, 'div', '', line);
  return made;
}

/** What the map can be fitted to, each as bounds around the walk. */
function makeFits(places) {
  const walk = L.latLngBounds(world.walk.map((corner) => corner.place));
  for (const fix of events.filter((event) => event.kind === 'position')) {
    walk.extend([fix.latitude, fix.longitude]);
  }
  const widthOf = (bounds) => bounds.getSouthWest().distanceTo(bounds.getNorthEast());
  const around = (bounds, place) => L.latLngBounds(bounds.getSouthWest(), bounds.getNorthEast()).extend(place);
  // The site is what lies so near that the walk is still seen.
  const widest = Math.max(200, 4 * widthOf(walk));
  const nearest = places.map((place) => ({place, width: widthOf(around(walk, place))}))
      .sort((one, other) => one.width - other.width);
  let site = walk;
  let all = walk;
  for (const {place} of nearest) {
    all = around(all, place);
    if (widthOf(around(site, place)) <= widest) site = around(site, place);
  }
  return {walk, site, all};
}

/** Hides the names that lie over others; earlier ones stay. */
function uncoverNames(names) {
  const shown = [];
  for (const name of names) {
    const element = name.getElement();
    if (!element) continue;
    const box = element.getBoundingClientRect();
    const covered = shown.some((other) => box.left < other.right && other.left < box.right &&
        box.top < other.bottom && other.top < box.bottom);
    element.classList.toggle('covered', covered);
    if (!covered) shown.push(box);
  }
}

/** The map; returns what shows it at a moment. */
function makeMap() {
  const map = L.map('map', {attributionControl: false, zoomSnap: 0.25});
  const fixes = events.filter((event) => event.kind === 'position');
  const place = (fix) => [fix.latitude, fix.longitude];
  const changesOfCircle = grouped(events.filter((event) => event.type === 'circle'),
                                  (event) => event.region);
  const circleBounds = (change) => L.latLng(change.latitude, change.longitude).toBounds(2 * change.radius);
  const fits = makeFits([...world.beacons.map((beacon) => L.latLng(beacon.place).toBounds(2)),
                         ...[...changesOfCircle.values()].map((changes) => circleBounds(changes[0]))]);
  const names = [];
  const describe = (shape, name, lines) => {
    shape.bindPopup(textElement([name, ...lines]));
    shape.bindTooltip(textElement([name]), {permanent: true, className: 'name', direction: 'right', offset: [8, 0]});
    names.push(shape.getTooltip());
    return shape;
  };
  const fitTo = (wanted) => {
    for (const button of document.querySelectorAll('[data-fit]')) {
      button.setAttribute('aria-pressed', button.dataset.fit === wanted);
    }
    map.fitBounds(fits[wanted].pad(0.15), {maxZoom: 21, animate: false});
  };
  for (const button of document.querySelectorAll('[data-fit]')) {
    button.onclick = () => fitTo(button.dataset.fit);
  }
  fitTo('site');
  L.control.scale({imperial: false}).addTo(map);

  const canvas = L.canvas();
  for (const fix of fixes) {
    L.circleMarker(place(fix), {renderer: canvas, interactive: false, radius: 2, weight: 0, fillOpacity: 0.5, fillColor: '#4a85e0'})
        .addTo(map);
  }
  L.polyline(world.walk.map((corner) => corner.place), {className: 'walk', weight: 2, dashArray: '4 5', interactive: false})
      .addTo(map);
  const beacons = world.beacons.map((beacon) => {
    const shape = L.circleMarker(beacon.place, {className: 'beacon', radius: 9, weight: 2, fillOpacity: 1});
    describe(shape, beacon.name, [`${beacon.uuid} ${beacon.major} ${beacon.minor}`]);
    return {changes: changesOfBeacon.get(beacon.name) || [], shape: shape.addTo(map)};
  });
  const circles = [...changesOfCircle.values()].map((changes) => {
    const {region, latitude, longitude, radius} = changes[0];
    // A tint that is everywhere tells nothing.
    const tint = circleBounds(changes[0]).contains(fits.site) ? 0 : 0.15;
    const shape = L.circle([latitude, longitude], {className: 'circle', radius, weight: 1, fillOpacity: tint});
    return {changes, shape: describe(shape, region, [`circle of ${radius} m`])};
  });
  const told = L.circle([0, 0], {className: 'told', radius: 0, weight: 1, fillOpacity: 0.2});
  told.bindPopup('the last position that the library was told, and its accuracy');
  const device = L.circleMarker(placeAt(0), {className: 'device', radius: 5, weight: 2, fillOpacity: 1})
      .bindPopup('the device').addTo(map);
  const follow = element('follow');
  const setFollowing = (isOn) => follow.setAttribute('aria-pressed', isOn);
  follow.onclick = () => setFollowing(follow.getAttribute('aria-pressed') !== 'true');
  map.on('dragstart', () => setFollowing(false));
  /** Keeps the device off the map's edges. */
  const keepInView = (where) => {
    if (follow.getAttribute('aria-pressed') !== 'true') return;
    if (!map.getBounds().pad(-0.15).contains(where)) map.panTo(where, {animate: false});
  };
  map.on('moveend zoomend', () => uncoverNames(names));
  addEventListener('resize', () => uncoverNames(names));

  return (moment) => {
    const fix = lastUpTo(fixes, moment);
    if (fix) told.setLatLng(place(fix)).setRadius(fix.accuracy).addTo(map);
    else told.remove();
    device.setLatLng(placeAt(moment));
    keepInView(device.getLatLng());
    let isOther = false;
    for (const {changes, shape} of circles) {
      const last = lastUpTo(changes, moment);
      const wanted = last && last.change !== 'monitoringStopped';
      isOther = isOther || wanted !== map.hasLayer(shape);
      if (!wanted) {
        shape.remove();
        continue;
      }
      shape.setLatLng([last.latitude, last.longitude]).setRadius(last.radius).addTo(map);
      shape.getElement().dataset.state = last.change;
    }
    for (const {changes, shape} of beacons) {
      shape.getElement().dataset.state = (lastUpTo(changes, moment) || {proximity: 'gone'}).proximity;
    }
    if (isOther) uncoverNames(names);
  };
}

function addKey(keys, className, text) {
  const key = add(keys, 'span', 'key');
  add(key, 'i', className);
  add(key, 'span', '', text);
}

/** What part of the time the lanes show; calls `changed` when that is another. */
function makeSpan(changed) {
  const span = {from: 0, to: end};
  const kShortest = Math.min(end, 10);
  const set = (from, length) => {
    const wide = Math.min(end, Math.max(kShortest, length));
    span.from = Math.min(Math.max(0, from), end - wide);
    span.to = span.from + wide;
    changed();
  };
  const zoom = (factor, around) => set(around - (around - span.from) * factor, (span.to - span.from) * factor);
  return {span, zoom, whole: () => set(0, end), show: (moment) => {
    const wide = span.to - span.from;
    if (moment < span.from || moment > span.to) set(moment - wide / 2, wide);
  }};
}

/** A row for each beacon heard and for each content decided about, over the time. */
function makeLanes(pick, ask) {
  const lanes = element('lanes');
  const share = (at) => `${at / end * 100}%`;
  const rows = add(lanes, 'div', 'rows');
  const lane = (parent, name, className) => {
    const row = add(parent, 'div', `lane ${className || ''}`);
    add(row, 'span', '', name).title = name;
    return add(row, 'div', 'track');
  };
  const bands = [];
  const band = (name, className) => {
    const made = add(lane(rows, name, className), 'div', 'band');
    // The list of events says the same in words.
    made.setAttribute('aria-hidden', 'true');
    bands.push(made);
    return made;
  };
  // A layer of its own: the thousands of marks beneath are not painted anew at every moment.
  const cursor = add(rows, 'div', 'cursor');
  cursor.setAttribute('aria-hidden', 'true');
  const line = add(cursor, 'i');
  const place = (moment) => {
    const {from, to} = part.span;
    line.style.transform = `translateX(${(moment - from) / (to - from) * 100}%)`;
  };
  for (const [beacon, changes] of changesOfBeacon) {
    const track = band(beacon);
    changes.forEach(({at, proximity}, index) => {
      if (proximity === 'gone') return;
      const until = index + 1 < changes.length ? changes[index + 1].at : end;
      const span = add(track, 'i', proximity);
      span.style.left = share(at);
      span.style.width = share(until - at);
      span.title = `${beacon} ${proximity} from ${clock(at)} to ${clock(until)}`;
    });
  }
  const decisionsIn = (list) => grouped(
      list.filter(({kind}) => kind === 'trigger' || kind === 'refusal' || kind === 'dwelling'),
      (event) => event.content);
  const addMarks = (track, decisions) => {
    for (const event of decisions) {
      const mark = add(track, 'i', `mark ${event.kind}`);
      mark.style.left = share(event.at);
      mark.title = `${clock(event.at)} ${event.text}`;
      mark.onclick = () => {
        pick(event.at);
        ask(event);
      };
    }
  };
  const before = decisionsIn(events);
  const after = decisionsIn(other ? other.events : []);
  for (const content of new Set([...before.keys(), ...after.keys()])) {
    addMarks(band(`content ${content}`), before.get(content) || []);
    if (other) addMarks(band('under the other rules', 'other'), after.get(content) || []);
  }
  const axis = lane(lanes, '', 'axis');
  const keys = add(lanes, 'div', 'keys');
  for (const name of ['immediate', 'near', 'far', 'unknown']) addKey(keys, name, name);
  addKey(keys, 'mark trigger', 'fires');
  addKey(keys, 'mark refusal', 'refused');
  addKey(keys, 'mark dwelling', 'waits');
  let shown = 0;
  const part = makeSpan(() => draw());
  const draw = () => {
    const {from, to} = part.span;
    for (const each of bands) {
      each.style.setProperty('--shift', `${-from / (to - from) * 100}%`);
      each.style.setProperty('--width', `${end / (to - from) * 100}%`);
    }
    place(shown);
    axis.replaceChildren();
    for (let tick = 0; tick <= 4; ++tick) {
      const at = from + (to - from) * tick / 4;
      add(axis, 'span', '', clock(at).replace(/\.\d+$/, '')).style.left = `${tick * 25}%`;
    }
  };
  element('closer').onclick = () => part.zoom(0.5, shown);
  element('wider').onclick = () => part.zoom(2, shown);
  element('whole').onclick = part.whole;
  lanes.addEventListener('wheel', (wheel) => {
    if (!wheel.ctrlKey) return;
    wheel.preventDefault();
    const box = axis.getBoundingClientRect();
    const at = part.span.from + (wheel.clientX - box.left) / box.width * (part.span.to - part.span.from);
    part.zoom(wheel.deltaY > 0 ? 1.25 : 0.8, at);
  }, {passive: false});
  draw();
  return (moment) => {
    shown = moment;
    part.show(moment);
    place(moment);
  };
}

/** The chain from the portal to the screen, at the moment of a decision. */
function makeWhy() {
  const dialog = element('why');
  const kSigns = {holds: '\u2713', broken: '\u2717', unknown: '?'};
  element('why-close').onclick = () => dialog.close();
  return (event) => {
    if (!event.why) return;
    element('why-title').textContent = `${clock(event.at)} ${event.text}`;
    const links = element('why-links');
    links.replaceChildren();
    for (const {link, state, text} of event.why.links) {
      const row = add(links, 'li', state);
      add(row, 'b', '', kSigns[state]).title = state;
      add(row, 'span', '', link);
      add(row, 'span', '', text);
    }
    element('why-conclusion').textContent = event.why.conclusion;
    dialog.showModal();
  };
}

/** On a small screen one of the lists stands below the map. */
function makePanels(shown) {
  const buttons = document.querySelectorAll('button[data-panel]');
  const choose = (panel) => {
    document.body.dataset.panel = panel;
    for (const button of buttons) button.setAttribute('aria-pressed', button.dataset.panel === panel);
    shown();
  };
  for (const button of buttons) button.onclick = () => choose(button.dataset.panel);
  choose('timeline');
}

/** The moment that everything shows: of the slider, a click, the running player, the address. */
function makePlayer(views) {
  const slider = element('moment');
  const button = element('play');
  const kSecondsToPlay = 30;
  let started = null;
  slider.max = end;
  const show = (moment) => {
    slider.value = moment;
    slider.setAttribute('aria-valuetext', clock(moment));
    element('clock').textContent = `${clock(moment)} of ${clock(end)}`;
    for (const view of views) view(moment);
  };
  const stopAt = (moment) => {
    started = null;
    button.textContent = 'Play';
    show(moment);
    history.replaceState(null, '', `#at=${moment}`);
  };
  const step = (now) => {
    if (!started) return;
    const played = Math.max(0, now - started.now) / 1000;
    const moment = Math.min(end, started.at + played * end / kSecondsToPlay);
    if (moment === end) return stopAt(end);
    show(moment);
    requestAnimationFrame(step);
  };
  button.onclick = () => {
    if (started) return stopAt(Number(slider.value));
    const from = Number(slider.value);
    started = {at: from < end ? from : 0, now: performance.now()};
    button.textContent = 'Pause';
    requestAnimationFrame(step);
  };
  slider.oninput = () => stopAt(Number(slider.value));
  const showAddress = () => {
    const named = /^#at=([\d.]+)$/.exec(location.hash);
    show(named ? Math.min(end, Number(named[1])) : end);
  };
  addEventListener('hashchange', showAddress);
  return {stopAt, showAddress};
}

showHeader();
const views = [];
const player = makePlayer(views);
const ask = makeWhy();
views.push(makeMap(), makeLanes(player.stopAt, ask), makeTimeline(player.stopAt, ask));
makePanels(player.showAddress);
