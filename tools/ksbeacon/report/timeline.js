/** Rows in groups, of which only those near the view are laid out and painted. */
function makeGroups(list) {
  const kRows = 100;
  const kRowHeight = 20;
  const groups = [];
  return {
    of: (index) => {
      if (index % kRows === 0) {
        groups.push(add(list, 'ol', 'group'));
        groups.at(-1).setAttribute('role', 'presentation');
      }
      return groups.at(-1);
    },
    /** To be called when other rows are hidden: what the groups remember of their heights is old. */
    measure: () => {
      for (const group of groups) {
        const height = kRowHeight * [...group.children].filter((row) => !row.hidden).length;
        group.hidden = height === 0;
        group.style.containIntrinsicHeight = `${height}px`;
        requestAnimationFrame(() => { group.style.containIntrinsicHeight = `auto ${height}px`; });
      }
    },
  };
}

/** A list of events that marks the moment; arrow keys go from event to event, Enter asks why. */
function makeList(list, members, pick, ask) {
  const groups = makeGroups(list);
  const rows = members.map((event, index) => {
    const row = add(groups.of(index), 'li', event.met === false ? 'unmet' : event.kind);
    row.setAttribute('role', 'option');
    row.setAttribute('aria-selected', 'false');
    add(row, 'time', '', clock(event.at));
    add(row, 'b', '', event.kind);
    add(row, 'span', '', event.text);
    row.classList.toggle('asks', Boolean(event.why));
    row.onclick = () => {
      mark(index);
      pick(event.at);
      ask(event);
    };
    return {at: event.at, event, row};
  });
  let reached = rows.length;
  let marked = -1;
  const mark = (index) => {
    if (marked === index) return;
    if (marked >= 0) {
      rows[marked].row.parentNode.style.contentVisibility = '';
      rows[marked].row.classList.remove('now');
      rows[marked].row.setAttribute('aria-selected', 'false');
      rows[marked].row.removeAttribute('id');
    }
    marked = index;
    if (marked < 0) return list.removeAttribute('aria-activedescendant');
    const {row} = rows[marked];
    // Where it is must be known before it is near the view.
    row.parentNode.style.contentVisibility = 'visible';
    row.classList.add('now');
    row.setAttribute('aria-selected', 'true');
    row.id = `${list.id}-now`;
    list.setAttribute('aria-activedescendant', row.id);
  };
  const show = (moment) => {
    while (reached > 0 && rows[reached - 1].at > moment) rows[--reached].row.classList.add('later');
    while (reached < rows.length && rows[reached].at <= moment) {
      rows[reached++].row.classList.remove('later');
    }
    // A row that was gone to stays marked among others of its moment.
    if (marked < 0 || rows[marked].at !== moment) mark(reached - 1);
    if (marked >= 0) reveal();
  };
  /**
   * Scrolls the list so far that the marked row is seen. Groups get their true heights only once
   * they have been near the view, so it is done again for some frames.
   */
  let frames = 0;
  const scroll = () => {
    if (marked < 0) frames = 0;
    if (frames === 0) return;
    const {row} = rows[marked];
    const top = row.getBoundingClientRect().top - list.getBoundingClientRect().top + list.scrollTop;
    const below = top + row.offsetHeight - list.clientHeight;
    list.scrollTop = Math.min(Math.max(list.scrollTop, below), top);
    if (--frames > 0) requestAnimationFrame(scroll);
  };
  const reveal = () => {
    const isScrolling = frames > 0;
    frames = 8;
    if (!isScrolling) scroll();
  };
  const go = (by) => {
    let index = marked + by;
    while (rows[index] && rows[index].row.hidden) index += by;
    if (!rows[index]) return;
    mark(index);
    pick(rows[index].at);
  };
  list.onkeydown = (key) => {
    const steps = {ArrowDown: 1, ArrowUp: -1};
    if (key.key in steps) go(steps[key.key]);
    else if (key.key === 'Enter' && marked >= 0) ask(rows[marked].event);
    else return;
    key.preventDefault();
  };
  groups.measure();
  return {rows, show, measure: groups.measure};
}

/** The events with their filters, of both days if there are two; returns what marks the moment. */
function makeTimeline(pick, ask) {
  const lists = [makeList(element('events'), events, pick, ask)];
  if (other) {
    element('others').hidden = false;
    document.body.classList.add('compare');
    lists.push(makeList(element('others'), other.events, pick, ask));
  }
  const rows = lists.flatMap((list) => list.rows);
  const hidden = new Set();
  const filter = () => {
    const wanted = element('search').value.toLowerCase();
    for (const {event, row} of rows) {
      row.hidden = hidden.has(event.kind) || !event.text.toLowerCase().includes(wanted);
    }
    for (const list of lists) list.measure();
  };
  for (const [kind, members] of grouped(rows, ({event}) => event.kind)) {
    const label = add(element('kinds'), 'label');
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
  return (moment) => {
    for (const list of lists) list.show(moment);
  };
}
