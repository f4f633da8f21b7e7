// The heat map: a row for each node or group of nodes, a cell for each frame. Only rows that can be seen are
// elements, so that thousands of them cost nothing.

/** Nodes of one group are those of equal `key(node)`; a group opens to its nodes. */
const GROUPINGS = {
  group: {key: (node) => nodes.group[node], letters: (key) => data.groups[key].letters, label: groupLabel},
  model: {key: (node) => nodes.model[node], letters: (key) => models[key].letters, label: modelLabel},
};

function groupLabel({key, nodes: members, models: distinct}) {
  const group = data.groups[key];
  return [make('b', {}, number(members.length)), ` \u00d7 ${group.class}, ${counted(group.ports, 'port')}`,
    make('span', {class: 'muted'}, ' \u00b7 ', ...firstOf(members), members.length > 1 ? ` \u00b7 ${counted(distinct, 'model')}` : '',
      'vendor' in group ? ` \u00b7 ${hex(group.vendor)}:${hex(group.device)}` : '')];
}

function modelLabel({key, nodes: members}) {
  return [make('b', {}, number(members.length)), ` \u00d7 ${models[key].name}`,
    make('span', {class: 'muted'}, ` \u00b7 ${counted(models[key].ports, 'port')} \u00b7 `, ...firstOf(members))];
}

const firstOf = (members) => [foreign(nameOf(members[0])), members.length > 1 ? ' \u2026' : ''];

const grid = {
  root: byId('grid'),
  body: byId('grid-body'),
  grouping: '',
  open: new Set(),   // keys of open groups
  groups: [],        // {key, nodes, models}, the largest first
  entries: [],       // what each row shows: a node, or -1 - index of a group
  elements: new Map(),  // of the rows that can be seen
  at: {row: 0, column: 0},

  /** Shows these nodes, given by ascending numbers. */
  show(shown, how) {
    if (how !== this.grouping) this.open.clear();
    this.grouping = how;
    const grouping = GROUPINGS[how];
    this.groups = [];
    if (grouping) {
      const byKey = new Map();
      for (const node of shown) {
        const key = grouping.key(node);
        if (!byKey.has(key)) byKey.set(key, []);
        byKey.get(key).push(node);
      }
      for (const [key, members] of byKey)
        this.groups.push({key, nodes: members, models: new Set(members.map((node) => nodes.model[node])).size});
      this.groups.sort((a, b) => b.nodes.length - a.nodes.length || a.key - b.key);
    }
    this.shown = shown;
    this.list();
    this.root.scrollTop = 0;
    this.at = {row: 0, column: 0};
    this.render();
  },

  /** Lists the rows anew after a group was opened or closed. */
  list() {
    if (!GROUPINGS[this.grouping]) {
      this.entries = this.shown;
    } else {
      this.entries = [];
      this.groups.forEach((group, i) => {
        this.entries.push(-1 - i);
        if (this.open.has(group.key)) for (const node of group.nodes) this.entries.push(node);
      });
    }
    this.elements.clear();
    this.body.replaceChildren(...(this.entries.length > 0 ? [] : [empty('No node passes the filters.')]));
    this.root.setAttribute('aria-rowcount', String(this.entries.length + 1));
    this.body.style.height = `${(this.entries.length || 4) * this.rowHeight()}px`;
  },

  rowHeight() { return cssNumber(this.root, '--row'); },

  render() {
    const height = this.rowHeight();
    const head = byId('grid-head').offsetHeight;
    const first = Math.max(0, Math.floor(this.root.scrollTop / height) - 4);
    const last = Math.min(this.entries.length, Math.ceil((this.root.scrollTop + this.root.clientHeight - head) / height) + 4);
    for (const [row, element] of this.elements) {
      if (row >= first && row < last) continue;
      element.remove();
      this.elements.delete(row);
    }
    // What stays is not touched: someone may be pressing a button over it.
    let next = this.body.firstElementChild;
    for (let row = first; row < last; ++row) {
      const old = this.elements.get(row);
      if (old === undefined) this.elements.set(row, this.body.insertBefore(this.row(row, height), next));
      else next = old.nextElementSibling;
    }
    this.mark();
  },

  row(row, height) {
    const entry = this.entries[row];
    const group = entry < 0 ? this.groups[-1 - entry] : null;
    const letters = group ? GROUPINGS[this.grouping].letters(group.key) : modelOf(entry).letters;
    const isOpen = group !== null && this.open.has(group.key);
    const label = group ?
      [make('span', {class: 'twist', 'aria-hidden': 'true'}, isOpen ? '\u25be' : '\u25b8'),
        ...GROUPINGS[this.grouping].label(group)] :
      [make('span', {class: 'name'}, foreign(nameOf(entry))), make('span', {class: 'muted guid'}, guidOf(entry))];
    const element = make('div', {class: `row ${group ? 'of-group' : 'of-node'}`, role: 'row', 'aria-rowindex': String(row + 2),
      'aria-level': group || this.groups.length === 0 ? '1' : '2', 'aria-expanded': group ? String(isOpen) : null,
      'data-row': String(row)},
      make('div', {class: 'label', role: 'rowheader', id: `r${row}c0`, 'data-column': '0'}, ...label),
      make('div', {class: 'cells', role: 'presentation'}, ...[...letters].map((letter, frame) =>
        make('div', {class: `cell ${letter}`, role: 'gridcell', id: `r${row}c${frame + 1}`, 'data-column': String(frame + 1),
          title: `${frameName(frame)}: ${WORDS[letter]}`, 'aria-label': `${frameName(frame)}: ${WORDS[letter]}`}, letter))));
    element.style.transform = `translateY(${row * height}px)`;
    return element;
  },

  /** Marks the cell that keys act on. */
  mark() {
    for (const old of this.root.querySelectorAll('.at')) old.classList.remove('at');
    const cell = byId(`r${this.at.row}c${this.at.column}`);
    if (cell) cell.classList.add('at');
    if (cell) this.root.setAttribute('aria-activedescendant', cell.id);
    else this.root.removeAttribute('aria-activedescendant');
  },

  moveTo(row, column) {
    this.at = {row: Math.max(0, Math.min(row, this.entries.length - 1)), column: Math.max(0, Math.min(column, frames.length))};
    const height = this.rowHeight();
    const top = this.at.row * height;
    const room = this.root.clientHeight - byId('grid-head').offsetHeight;
    if (top < this.root.scrollTop) this.root.scrollTop = top;
    if (top + height > this.root.scrollTop + room) this.root.scrollTop = top + height - room;
    this.render();
  },

  toggle(row, isOpen) {
    const group = this.groups[-1 - this.entries[row]];
    if (isOpen === undefined) isOpen = !this.open.has(group.key);
    if (isOpen) this.open.add(group.key);
    else this.open.delete(group.key);
    this.list();
    this.moveTo(row, 0);
  },

  /** What a click or Enter does: a group opens or closes, anything else is told in the panel. */
  act() {
    const entry = this.entries[this.at.row];
    if (entry === undefined) return;
    if (entry < 0 && this.at.column === 0) return this.toggle(this.at.row);
    const alike = entry < 0 ? this.groups[-1 - entry].nodes : [entry];
    details.show(alike[0], this.at.column > 0 ? this.at.column - 1 : this.firstToTell(alike[0]), alike.length);
  },

  /** The frame that is of most interest when a node as a whole is asked for. */
  firstToTell(node) { return Math.max(0, modelOf(node).letters.indexOf('E')); },

  onKey(event) {
    const {row, column} = this.at;
    const isGroup = this.entries[row] < 0;
    const page = Math.max(1, Math.floor(this.root.clientHeight / this.rowHeight()) - 3);
    const keys = {
      ArrowDown: () => this.moveTo(row + 1, column),
      ArrowUp: () => this.moveTo(row - 1, column),
      PageDown: () => this.moveTo(row + page, column),
      PageUp: () => this.moveTo(row - page, column),
      Home: () => this.moveTo(event.ctrlKey ? 0 : row, 0),
      End: () => this.moveTo(event.ctrlKey ? this.entries.length - 1 : row, frames.length),
      ArrowRight: () => isGroup && column === 0 && !this.open.has(this.groups[-1 - this.entries[row]].key) ?
        this.toggle(row, true) : this.moveTo(row, column + 1),
      ArrowLeft: () => isGroup && column === 0 ? this.toggle(row, false) : this.moveTo(row, column - 1),
      Enter: () => this.act(),
      ' ': () => this.act(),
    };
    if (!(event.key in keys) || event.altKey || event.metaKey) return;
    event.preventDefault();
    keys[event.key]();
  },

  start() {
    byId('grid-head').append(make('div', {class: 'label', role: 'columnheader'}, 'Nodes'),
      make('div', {class: 'cells', role: 'presentation'}, ...frames.map((name, i) =>
        make('div', {class: 'column', role: 'columnheader', title: frameName(i), 'aria-label': frameName(i)},
          make('span', {class: 'column-name'}, name), make('span', {class: 'column-number'}, String(i + 1))))));
    this.root.setAttribute('aria-colcount', String(frames.length + 1));
    this.root.addEventListener('scroll', () => requestAnimationFrame(() => this.render()), {passive: true});
    this.root.addEventListener('keydown', (event) => this.onKey(event));
    this.root.addEventListener('click', (event) => {
      const cell = event.target.closest('[data-column]');
      if (!cell) return;
      this.at = {row: Number(cell.parentElement.closest('[data-row]').dataset.row), column: Number(cell.dataset.column)};
      this.mark();
      this.act();
    });
    new ResizeObserver(() => { this.list(); this.render(); }).observe(this.root);
  },
};
