'use strict';

const {world, proximities, events} = JSON.parse(document.getElementById('data').textContent);
const element = (id) => document.getElementById(id);
const end = events.reduce((last, event) => Math.max(last, event.at), 1);

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

/** The map; returns what shows it at a moment. */
function makeMap() {
  const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`);
  const map = L.map('map', {attributionControl: false, zoomSnap: 0.25});
  const fixes = events.filter((event) => event.kind === 'position');
  const place = (fix) => [fix.latitude, fix.longitude];
  const corners = world.walk.map((corner) => corner.place);
  const bounds = L.latLngBounds([...corners, ...world.beacons.map((beacon) => beacon.place)]);
  for (const fix of fixes) bounds.extend(place(fix));
  map.fitBounds(bounds.pad(0.15), {maxZoom: 21});
  L.control.scale({imperial: false}).addTo(map);

  const circles = [...grouped(events.filter((event) => event.type === 'circle'),
                              (event) => event.region).values()].map((changes) => {
    const {region, latitude, longitude, radius} = changes[0];
    const shape = L.circle([latitude, longitude], {radius, weight: 1}).bindTooltip(region);
    // A tint that is everywhere tells nothing.
    const tint = shape.addTo(map).getBounds().contains(bounds) ? 0 : 0.15;
    return {changes, shape, tint};
  });
  L.polyline(corners, {color: colour('faint'), weight: 2, dashArray: '4 5'})
      .bindTooltip('the walk').addTo(map);
  for (const fix of fixes) {
    L.circleMarker(place(fix), {radius: 2, weight: 0, fillOpacity: 0.5, fillColor: colour('waits')})
        .addTo(map);
  }
  const beacons = world.beacons.map((beacon) => {
    const shape = L.circleMarker(beacon.place, {radius: 9, weight: 2, color: colour('ink')});
    shape.bindTooltip(`${beacon.name}: ${beacon.uuid} ${beacon.major} ${beacon.minor}`);
    return {changes: changesOfBeacon.get(beacon.name) || [], shape: shape.addTo(map)};
  });
  const told = L.circle([0, 0], {radius: 0, weight: 1, color: colour('waits')});
  told.bindTooltip('the last position that the library was told, and its accuracy');
  const device = L.circleMarker([0, 0], {
    radius: 5, weight: 2, color: colour('paper'), fillColor: colour('waits'), fillOpacity: 1
  }).bindTooltip('the device').addTo(map);

  return (moment) => {
    const fix = lastUpTo(fixes, moment);
    if (fix) told.setLatLng(place(fix)).setRadius(fix.accuracy).addTo(map);
    else told.remove();
    device.setLatLng(placeAt(moment));
    for (const {changes, shape, tint} of circles) {
      const last = lastUpTo(changes, moment);
      if (!last || last.change === 'monitoringStopped') {
        shape.remove();
        continue;
      }
      const inside = last.change === 'inside';
      shape.setLatLng([last.latitude, last.longitude]).setRadius(last.radius).addTo(map);
      shape.setStyle({color: colour(inside ? 'near' : 'unknown'), fillOpacity: inside ? tint : 0});
    }
    for (const {changes, shape} of beacons) {
      const proximity = (lastUpTo(changes, moment) || {proximity: 'gone'}).proximity;
      const heard = proximity !== 'gone';
      shape.setStyle({fillColor: colour(heard ? proximity : 'paper'), fillOpacity: 1});
    }
  };
}

function addKey(keys, className, text) {
  const key = add(keys, 'span', 'key');
  add(key, 'i', className);
  add(key, 'span', '', text);
}

/** A row for each beacon heard and for each content decided about, over the whole time. */
function makeLanes(pick) {
  const lanes = element('lanes');
  const share = (at) => `${at / end * 100}%`;
  const lane = (name, className) => {
    const row = add(lanes, 'div', `lane ${className || ''}`);
    add(row, 'span', '', name).title = name;
    return add(row, 'div', 'track');
  };
  for (const [beacon, changes] of changesOfBeacon) {
    const track = lane(beacon);
    changes.forEach(({at, proximity}, index) => {
      if (proximity === 'gone') return;
      const until = index + 1 < changes.length ? changes[index + 1].at : end;
      const span = add(track, 'i', proximity);
      span.style.left = share(at);
      span.style.width = share(until - at);
      span.title = `${beacon} ${proximity} from ${clock(at)} to ${clock(until)}`;
    });
  }
  const decided = events.filter(
      ({kind}) => kind === 'trigger' || kind === 'refusal' || kind === 'dwelling');
  for (const [content, decisions] of grouped(decided, (event) => event.content)) {
    const track = lane(`content ${content}`);
    for (const {at, kind, text} of decisions) {
      const mark = add(track, 'i', `mark ${kind}`);
      mark.style.left = share(at);
      mark.title = `${clock(at)} ${text}`;
      mark.onclick = () => pick(at);
    }
  }
  const axis = lane('', 'axis');
  for (let tick = 0; tick <= 4; ++tick) {
    add(axis, 'span', '', clock(end * tick / 4).replace(/\.\d+$/, '')).style.left = `${tick * 25}%`;
  }
  const keys = add(lanes, 'div', 'keys');
  for (const name of ['immediate', 'near', 'far', 'unknown']) addKey(keys, name, name);
  addKey(keys, 'mark trigger', 'fires');
  addKey(keys, 'mark refusal', 'refused');
  addKey(keys, 'mark dwelling', 'waits');
  return (moment) => lanes.style.setProperty('--moment', share(moment));
}

/** The list of events with its filters; returns what marks the moment. */
function makeTimeline(pick) {
  const list = element('events');
  const rows = events.map((event) => {
    const row = add(list, 'li', event.met === false ? 'unmet' : event.kind);
    add(row, 'time', '', clock(event.at));
    add(row, 'b', '', event.kind);
    add(row, 'span', '', event.text);
    row.onclick = () => pick(event.at);
    return {at: event.at, event, row};
  });
  const hidden = new Set();
  const filter = () => {
    const wanted = element('search').value.toLowerCase();
    for (const {event, row} of rows) {
      row.hidden = hidden.has(event.kind) || !event.text.toLowerCase().includes(wanted);
    }
  };
  for (const [kind, members] of grouped(events, (event) => event.kind)) {
    const label = add(element('filters'), 'label');
    const box = add(label, 'input');
    box.type = 'checkbox';
    box.checked = true;
    box.onchange = () => {
      if (box.checked) hidden.delete(kind);
      else hidden.add(kind);
      filter();
    };
    label.append(` ${kind} ${members.length}`);
  }
  element('search').oninput = filter;
  let reached = rows.length;
  let marked;
  return (moment) => {
    while (reached > 0 && rows[reached - 1].at > moment) rows[--reached].row.classList.add('later');
    while (reached < rows.length && rows[reached].at <= moment) {
      rows[reached++].row.classList.remove('later');
    }
    if (marked) marked.classList.remove('now');
    if (reached === 0) return;
    marked = rows[reached - 1].row;
    marked.classList.add('now');
    // Only the list scrolls, not a small screen's whole page.
    const below = marked.offsetTop + marked.offsetHeight - list.clientHeight;
    list.scrollTop = Math.max(below, Math.min(list.scrollTop, marked.offsetTop));
  };
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
views.push(makeMap(), makeLanes(player.stopAt), makeTimeline(player.stopAt));
player.showAddress();
