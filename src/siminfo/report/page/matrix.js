// Cables between the switches of a level and those above: a row for each of these, a column for each of those.
// It is painted, since a large fabric has half a million cells, and what it shows is told in words below.

const matrix = {
  at: {row: 0, column: 0},

  start() {
    const view = byId('view-matrix');
    const pairs = levels.slice(1).map((upper, i) => [levels[i], upper]).filter(([, upper]) => upper.level !== Infinity);
    if (pairs.length === 0)
      return view.replaceChildren(empty('A matrix needs cables between switches of two levels; the snapshot tells of none.'));
    this.pairs = pairs;
    this.canvas = make('canvas', {'aria-hidden': 'true'});
    this.sizer = make('div', {class: 'sizer'});
    this.frame = make('div', {class: 'matrix', tabindex: '0', role: 'application', 'aria-label': 'Cables between two levels of switches',
      'aria-describedby': 'matrix-readout', onscroll: () => requestAnimationFrame(() => this.paint()),
      onkeydown: (event) => this.onKey(event), onclick: (event) => this.onClick(event)}, this.canvas, this.sizer);
    this.readout = make('p', {class: 'readout', id: 'matrix-readout', role: 'status'});
    const choice = make('select', {'aria-label': 'Levels', onchange: () => this.choose(Number(choice.value))},
      ...pairs.map(([lower, upper], i) => make('option', {value: String(i)}, `${lower.name} by ${upper.name.toLowerCase()}`)));
    view.replaceChildren(
      make('div', {class: 'filters'}, make('label', {class: 'field'}, make('span', {}, 'Levels'), choice),
        make('p', {class: 'muted'}, 'Cells are cables between two switches. Arrow keys move, Enter opens the switch of the row.')),
      this.frame, this.readout);
    this.choose(0);
    new ResizeObserver(() => this.paint()).observe(this.frame);
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.paint());
  },

  choose(pair) {
    [this.rows, this.columns] = this.pairs[pair].map((level) => level.switches);
    const placeOf = (switches) => new Map(switches.map((node, i) => [node, i]));
    const [rows, columns] = [placeOf(this.rows), placeOf(this.columns)];
    this.counts = new Uint8Array(this.rows.length * this.columns.length);
    this.most = 0;
    const add = (row, column) => {
      if (row === undefined || column === undefined) return;
      const i = row * this.columns.length + column;
      this.most = Math.max(this.most, ++this.counts[i]);
    };
    for (const {from, to} of cables) {
      add(rows.get(from), columns.get(to));
      add(rows.get(to), columns.get(from));
    }
    this.cell = Math.max(this.rows.length, this.columns.length) <= 80 ? 24 : 12;
    const longest = (switches) => Math.min(20, switches.reduce((most, node) => Math.max(most, nameOf(node).length), 0));
    this.left = 24 + 6.6 * longest(this.rows);
    this.top = 24 + 6.6 * longest(this.columns);
    this.sizer.style.width = `${this.left + this.columns.length * this.cell + 1}px`;
    this.sizer.style.height = `${this.top + this.rows.length * this.cell + 1}px`;
    this.frame.style.height = `${this.top + this.rows.length * this.cell + 20}px`;
    this.at = {row: 0, column: 0};
    this.tell();
    this.paint();
  },

  paint() {
    const {canvas, frame, cell, left, top} = this;
    const [width, height] = [frame.clientWidth, frame.clientHeight];
    if (width === 0) return;
    const ratio = window.devicePixelRatio || 1;
    canvas.width = width * ratio;
    canvas.height = height * ratio;
    canvas.style.width = `${width}px`;
    canvas.style.height = `${height}px`;
    const style = getComputedStyle(frame);
    const pen = canvas.getContext('2d');
    pen.scale(ratio, ratio);
    pen.font = `11px ${style.fontFamily}`;
    pen.textBaseline = 'middle';
    const range = (scroll, room, count) => {
      const first = Math.floor(scroll / cell);
      return {first, last: Math.min(count, first + Math.ceil(room / cell) + 1)};
    };
    const seen = {
      colour: (name) => style.getPropertyValue(name).trim(),
      rows: range(frame.scrollTop, height - top, this.rows.length),
      columns: range(frame.scrollLeft, width - left, this.columns.length),
      x: (column) => left + column * cell - frame.scrollLeft,
      y: (row) => top + row * cell - frame.scrollTop,
    };
    for (const [paint, ...box] of [[this.paintCells, left, top, width - left, height - top],
      [this.paintRowNames, 0, top, left, height - top], [this.paintColumnNames, left, 0, width - left, top]]) {
      pen.save();
      pen.beginPath();
      pen.rect(...box);
      pen.clip();
      paint.call(this, pen, seen);
      pen.restore();
    }
  },

  paintCells(pen, {colour, rows, columns, x, y}) {
    const {cell} = this;
    const [none, some, ink, inkOver] = ['--cell-none', '--cell-some', '--ink', '--cell-ink'].map(colour);
    pen.textAlign = 'center';
    for (let row = rows.first; row < rows.last; ++row) {
      for (let column = columns.first; column < columns.last; ++column) {
        const count = this.counts[row * this.columns.length + column];
        pen.fillStyle = count === 0 ? none : some;
        pen.globalAlpha = count === 0 ? 1 : 0.35 + 0.65 * count / this.most;
        pen.fillRect(x(column) + 0.5, y(row) + 0.5, cell - 1, cell - 1);
        pen.globalAlpha = 1;
        if (count === 0 || cell < 20) continue;
        pen.fillStyle = count / this.most > 0.5 ? inkOver : ink;
        pen.fillText(String(count), x(column) + cell / 2, y(row) + cell / 2 + 1);
      }
    }
    pen.strokeStyle = ink;
    pen.lineWidth = 2;
    pen.strokeRect(x(this.at.column) + 1, y(this.at.row) + 1, cell - 2, cell - 2);
  },

  paintRowNames(pen, {colour, rows, y}) {
    pen.textAlign = 'right';
    for (let row = rows.first; row < rows.last; ++row) {
      pen.fillStyle = colour(row === this.at.row ? '--focus' : '--muted');
      pen.fillText(shortened(nameOf(this.rows[row]), 20), this.left - 8, y(row) + this.cell / 2 + 1, this.left - 12);
    }
  },

  paintColumnNames(pen, {colour, columns, x}) {
    pen.textAlign = 'left';
    for (let column = columns.first; column < columns.last; ++column) {
      pen.fillStyle = colour(column === this.at.column ? '--focus' : '--muted');
      pen.save();
      pen.translate(x(column) + this.cell / 2 + 1, this.top - 8);
      pen.rotate(-Math.PI / 2);
      pen.fillText(shortened(nameOf(this.columns[column]), 20), 0, 0, this.top - 12);
      pen.restore();
    }
  },

  tell() {
    const [row, column] = [this.rows[this.at.row], this.columns[this.at.column]];
    const open = (node) => make('button', {class: 'link', type: 'button', onclick: () => details.show(node, grid.firstToTell(node))}, foreign(nameOf(node)));
    this.readout.replaceChildren(open(row), ' \u2013 ', open(column),
      `: ${counted(this.counts[this.at.row * this.columns.length + this.at.column], 'cable')}`);
  },

  moveTo(row, column) {
    const {frame, cell} = this;
    this.at = {row: Math.max(0, Math.min(row, this.rows.length - 1)), column: Math.max(0, Math.min(column, this.columns.length - 1))};
    const into = (place, scroll, room) => place * cell < scroll ? place * cell : (place + 1) * cell > scroll + room ? (place + 1) * cell - room : scroll;
    frame.scrollTop = into(this.at.row, frame.scrollTop, frame.clientHeight - this.top);
    frame.scrollLeft = into(this.at.column, frame.scrollLeft, frame.clientWidth - this.left);
    this.tell();
    this.paint();
  },

  onKey(event) {
    const {row, column} = this.at;
    const keys = {ArrowDown: [row + 1, column], ArrowUp: [row - 1, column], ArrowRight: [row, column + 1], ArrowLeft: [row, column - 1],
      PageDown: [row + 20, column], PageUp: [row - 20, column], Home: [row, 0], End: [row, this.columns.length - 1]};
    if (event.key === 'Enter') details.show(this.rows[row], grid.firstToTell(this.rows[row]));
    else if (event.key in keys) this.moveTo(...keys[event.key]);
    else return;
    event.preventDefault();
  },

  onClick(event) {
    const box = this.frame.getBoundingClientRect();
    const [x, y] = [event.clientX - box.left, event.clientY - box.top];
    this.moveTo(y < this.top ? this.at.row : Math.floor((y - this.top + this.frame.scrollTop) / this.cell),
      x < this.left ? this.at.column : Math.floor((x - this.left + this.frame.scrollLeft) / this.cell));
  },
};
