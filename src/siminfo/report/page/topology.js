// The switches by level, adapters as numbers below them. Many switches are drawn as one box a model and level.

const MOST_SWITCHES = 200;  // that are drawn one by one
const MOST_BOXES = 40;      // of a level, when models are drawn
const LEVEL_HEIGHT = 170;
const BOX_HEIGHT = 30;

const byName = new Intl.Collator('en', {numeric: true}).compare;

/** The switches of each level, from the lowest, by name; those that no cable leads to from an adapter last. */
const levels = (() => {
  const found = new Map();
  for (let node = 0; node < nodeCount; ++node) {
    if (!isSwitch(node)) continue;
    const level = nodes.level[node] < 1 ? Infinity : nodes.level[node];
    if (!found.has(level)) found.set(level, []);
    found.get(level).push(node);
  }
  const numbers = [...found.keys()].sort((a, b) => a - b);
  return numbers.map((level) => ({level, name: level === Infinity ? 'Apart' : `Level ${level}`,
    switches: found.get(level).sort((a, b) => byName(nameOf(a), nameOf(b)))}));
})();

/** What is drawn as one box: {level, switches, name, ends}. `ends` counts cables to what is no switch. */
function boxesOf(isByModel) {
  const boxes = [];
  levels.forEach(({switches}, level) => {
    if (!isByModel) return boxes.push(...switches.map((node) => ({level, switches: [node], name: nameOf(node)})));
    const byModel = new Map();
    for (const node of switches) {
      const model = nodes.model[node];
      if (!byModel.has(model)) byModel.set(model, {level, switches: [], name: models[model].name});
      byModel.get(model).switches.push(node);
    }
    const all = [...byModel.values()].sort((a, b) => b.switches.length - a.switches.length || byName(a.name, b.name));
    const others = all.length > MOST_BOXES ? all.splice(MOST_BOXES - 1) : [];
    if (others.length > 0)
      all.push({level, switches: others.flatMap((box) => box.switches), name: `${counted(others.length, 'other model')}`});
    boxes.push(...all);
  });
  return boxes;
}

const topology = {
  boxes: [],
  edges: new Map(),  // "box box" to cables
  hasArcs: false,    // some cables do not leave their level
  at: 0,

  start() {
    const view = byId('view-topology');
    const switches = levels.reduce((sum, level) => sum + level.switches.length, 0);
    if (switches === 0) return view.replaceChildren(empty('There is no switch among the nodes.'));
    const isByModel = this.isByModel = switches > MOST_SWITCHES;
    this.boxes = boxesOf(isByModel);
    this.count();
    this.readout = make('p', {class: 'readout', role: 'status'});
    this.frame = make('div', {class: 'drawing'});
    view.replaceChildren(
      make('p', {class: 'muted'}, `${counted(switches, 'switch').replace(/switchs$/, 'switches')} by their distance from the adapters. `,
        isByModel ? 'Each box is the switches of one model at one level; choose one to see its nodes.' : 'Choose one to see its links.',
        cables.length === 0 ? ' The snapshot tells of no cables.' : ''),
      this.frame, this.readout);
    this.width = 0;
    new ResizeObserver(() => { if (this.frame.clientWidth > 0 && this.frame.clientWidth !== this.width) this.draw(); }).observe(this.frame);
  },

  /** Counts the cables between boxes, and those to what is no switch. */
  count() {
    const boxOf = new Map();
    this.boxes.forEach((box, i) => {
      box.ends = 0;
      for (const node of box.switches) boxOf.set(node, i);
    });
    for (const {from, to} of cables) {
      const [a, b] = [boxOf.get(from), boxOf.get(to)];
      if (a !== undefined && b !== undefined) {
        const key = a < b ? `${a} ${b}` : `${b} ${a}`;
        this.edges.set(key, (this.edges.get(key) || 0) + 1);
      } else if (a !== undefined || b !== undefined) {
        ++this.boxes[a !== undefined ? a : b].ends;
      }
    }
    this.edgesOf = this.boxes.map(() => []);
    for (const [key, cablesBetween] of this.edges) {
      const [a, b] = key.split(' ').map(Number);
      this.hasArcs = this.hasArcs || this.boxes[a].level === this.boxes[b].level;
      this.edgesOf[a].push([b, cablesBetween]);
      if (a !== b) this.edgesOf[b].push([a, cablesBetween]);
    }
  },

  draw() {
    this.width = this.frame.clientWidth;
    const most = Math.max(...levels.map((level, i) => this.boxes.filter((box) => box.level === i).length));
    const step = Math.max(20, Math.min(132, (this.width - 90) / most));
    const width = Math.max(this.width - 2, 90 + most * step);
    const isUpright = step < 84;  // there is no room for names across
    const room = isUpright ? 26 + 6.2 * Math.min(20, Math.max(...this.boxes.map((box) => box.name.length))) : this.hasArcs ? 48 : 24;
    const height = (levels.length - 1) * LEVEL_HEIGHT + BOX_HEIGHT + room + (isUpright ? room : 24) + 6;
    levels.forEach((level, i) => {
      const own = this.boxes.filter((box) => box.level === i);
      const y = room + (levels.length - 1 - i) * LEVEL_HEIGHT;
      own.forEach((box, place) => Object.assign(box, {
        x: 80 + (width - 90) * (place + 0.5) / own.length, y, width: Math.min(step - 6, 120)}));
    });
    // Thousands of lines are a shade; the one box that is looked at has its own drawn over it.
    const faint = Math.max(0.07, Math.min(0.7, 50 / this.edges.size));
    const paths = [1, 2, 3].map((weight) => draw('path', {class: `edges weight-${weight}`, 'stroke-opacity': faint, d: this.path([...this.edges]
      .filter(([, cablesBetween]) => this.weight(cablesBetween) === weight).map(([key]) => key.split(' ').map(Number)))}));
    this.highlight = draw('path', {class: 'edges highlight'});
    this.marks = this.boxes.map((box, i) => this.mark(box, i, isUpright));
    const hadFocus = this.frame.contains(document.activeElement);
    this.frame.replaceChildren(draw('svg', {width, height, viewBox: `0 0 ${width} ${height}`, role: 'group', 'aria-label': 'Switches by level',
      onkeydown: (event) => this.onKey(event)},
      ...levels.map(({name, switches}, i) => draw('g', {},
        draw('text', {class: 'level', x: 12, y: room + (levels.length - 1 - i) * LEVEL_HEIGHT + 14}, name),
        draw('text', {class: 'level-count', x: 12, y: room + (levels.length - 1 - i) * LEVEL_HEIGHT + 28}, number(switches.length)))),
      ...paths, this.highlight, ...this.marks));
    if (hadFocus) this.marks[this.at].focus();
  },

  /** A wider line where there are more cables than usual. */
  weight(cablesBetween) {
    this.usual = this.usual || [...this.edges.values()].sort((a, b) => a - b)[this.edges.size >> 1];
    return cablesBetween > 4 * this.usual ? 3 : cablesBetween > this.usual ? 2 : 1;
  },

  path(pairs) {
    return pairs.map(([a, b]) => {
      const [low, high] = [this.boxes[a], this.boxes[b]];
      if (a === b) return `M${low.x - 6} ${low.y}q6 -24 12 0`;
      if (low.level === high.level)
        return `M${low.x} ${low.y}Q${(low.x + high.x) / 2} ${low.y - 60} ${high.x} ${high.y}`;
      return `M${low.x} ${low.y}L${high.x} ${high.y + BOX_HEIGHT}`;
    }).join('');
  },

  mark(box, i, isUpright) {
    const isLowest = box.level === 0;
    const hasError = box.switches.some((node) => modelOf(node).letters.includes('E'));
    const middle = box.y + BOX_HEIGHT / 2;
    const turned = isLowest ? {x: box.x, y: box.y + BOX_HEIGHT + 8, transform: `rotate(90 ${box.x} ${box.y + BOX_HEIGHT + 8})`} :
      {x: box.x, y: box.y - 8, transform: `rotate(-90 ${box.x} ${box.y - 8})`};
    const inside = this.isByModel ? number(box.switches.length) : box.ends > 0 ? number(box.ends) : '';
    return draw('g', {class: `box ${hasError ? 'E' : ''}`, role: 'button', tabindex: i === this.at ? '0' : '-1', 'aria-label': this.words(box),
      'data-box': String(i), onmouseenter: () => this.tell(i), onfocus: () => this.tell(i), onclick: () => { this.at = i; this.choose(); }},
      draw('rect', {x: box.x - box.width / 2, y: box.y, width: box.width, height: BOX_HEIGHT, rx: 4}),
      isUpright ? draw('text', {class: 'upright', 'dominant-baseline': 'middle', ...turned}, shortened(box.name, 20)) :
        draw('text', {x: box.x, y: middle, 'text-anchor': 'middle', 'dominant-baseline': 'middle'}, shortened(box.name, Math.floor(box.width / 7.2))),
      isUpright && box.width > 6.5 * inside.length ? draw('text', {class: 'inside', x: box.x, y: middle, 'text-anchor': 'middle', 'dominant-baseline': 'middle'}, inside) : null,
      !isUpright && inside ? draw('text', {class: 'below', x: box.x, y: box.y + BOX_HEIGHT + 13, 'text-anchor': 'middle'},
        this.isByModel ? `\u00d7 ${inside}` : `${counted(box.ends, 'end')}`) : null);
  },

  words(box) {
    const among = this.edgesOf[this.boxes.indexOf(box)].reduce((sum, [, cablesBetween]) => sum + cablesBetween, 0);
    return `${box.name}: ${levels[box.level].name.toLowerCase()}, ` +
      (this.isByModel ? `${number(box.switches.length)} switches, ` : '') +
      `${counted(box.ends, 'cable')} to adapters and others, ${counted(among, 'cable')} to switches` +
      (box.switches.some((node) => modelOf(node).letters.includes('E')) ? ', has #error lines' : '');
  },

  tell(i) {
    this.highlight.setAttribute('d', this.path(this.edgesOf[i].map(([other]) => [Math.min(i, other), Math.max(i, other)])));
    this.readout.replaceChildren(foreign(this.words(this.boxes[i])));
  },

  choose() {
    const box = this.boxes[this.at];
    if (this.isByModel) filters.showSwitches(box.switches, [`${levels[box.level].name}, `, box.name]);
    else details.show(box.switches[0], grid.firstToTell(box.switches[0]));
  },

  onKey(event) {
    const here = this.boxes[this.at];
    const beside = (level) => this.boxes.map((box, i) => [box, i]).filter(([box]) => box.level === level)
      .sort(([a], [b]) => Math.abs(a.x - here.x) - Math.abs(b.x - here.x)).map(([, i]) => i)[0];
    const same = (i) => this.boxes[i] && this.boxes[i].level === here.level ? i : this.at;
    const keys = {ArrowRight: () => same(this.at + 1), ArrowLeft: () => same(this.at - 1),
      ArrowUp: () => beside(here.level + 1), ArrowDown: () => beside(here.level - 1)};
    if (event.key === 'Enter' || event.key === ' ') {
      event.preventDefault();
      return this.choose();
    }
    if (!(event.key in keys)) return;
    event.preventDefault();
    const next = keys[event.key]();
    if (next === undefined) return;
    this.marks[this.at].setAttribute('tabindex', '-1');
    this.at = next;
    this.marks[next].setAttribute('tabindex', '0');
    this.marks[next].focus();
  },
};
