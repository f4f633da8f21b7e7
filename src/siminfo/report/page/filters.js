// Which nodes are shown: those that pass every filter.

const filters = {
  form: byId('filters'),
  only: null,         // another view's choice: {passes(node), words: what the nodes are}, or null
  texts: [],          // of each node, in lower case

  start() {
    for (let node = 0; node < nodeCount; ++node)
      this.texts.push(`${nameOf(node)}\n${guidOf(node)}\n${modelOf(node).name}`.toLowerCase());
    const counts = new Map();
    for (const model of models) counts.set(model.class, (counts.get(model.class) || 0) + model.nodes);
    for (const [name, count] of [...counts].sort())
      byId('classes').append(make('label', {class: 'chip'}, make('input', {type: 'checkbox', value: name, checked: true}),
        `${name} `, make('span', {class: 'muted'}, number(count))));
    frames.forEach((name, i) => byId('frame').append(make('option', {value: String(i)}, frameName(i))));
    this.form.addEventListener('input', () => this.apply());
    this.form.addEventListener('submit', (event) => event.preventDefault());
    byId('show-all').addEventListener('click', () => this.set({}));
    this.apply();
  },

  /** Whether nodes of the model pass the filters of class and outcome. */
  passes(model, classes, outcome, frame) {
    if (!classes.has(model.class)) return false;
    if (outcome === '') return true;
    return frame === '' ? model.letters.includes(outcome) : model.letters[frame] === outcome;
  },

  apply() {
    const classes = new Set([...byId('classes').querySelectorAll(':checked')].map((box) => box.value));
    const passing = models.map((model) => this.passes(model, classes, byId('outcome').value, byId('frame').value));
    const words = byId('text').value.toLowerCase().split(/\s+/).filter((word) => word !== '');
    const shown = [];
    for (let node = 0; node < nodeCount; ++node) {
      if (passing[nodes.model[node]] && words.every((word) => this.texts[node].includes(word)) &&
          (this.only === null || this.only.passes(node))) shown.push(node);
    }
    grid.show(shown, byId('rows').value);
    this.tell(shown);
  },

  tell(shown) {
    const letters = {B: 0, c: 0, E: 0};
    for (const node of shown) {
      const counts = modelOf(node).letterCounts;
      for (const letter in letters) letters[letter] += counts[letter];
    }
    byId('status').textContent = (shown.length === nodeCount ? `All ${counted(nodeCount, 'node')}` :
      `${number(shown.length)} of ${counted(nodeCount, 'node')}`) +
      (grid.groups.length > 0 ? ` in ${counted(grid.groups.length, 'row')}` : '');
    byId('legend').replaceChildren(...Object.keys(WORDS).map((letter) =>
      make('li', {'data-letter': letter, 'data-count': String(letters[letter])}, badge(letter), ` ${WORDS[letter]}s `,
        make('b', {}, number(letters[letter])))));
    byId('words').hidden = this.only === null;
    byId('words').replaceChildren(...(this.only === null ? [] : [...this.only.words, ' ',
      make('button', {class: 'link', type: 'button', onclick: () => { this.only = null; this.apply(); }}, 'Show all')]));
  },

  /** Shows what passes these filters and no other. */
  set({text = '', only = null, rows = 'group'}) {
    this.form.reset();
    byId('text').value = text;
    byId('rows').value = rows;
    tabs.choose('nodes');
    this.only = only;
    this.apply();
    if (details.covers()) details.close();
    if (only !== null || text !== '') grid.root.focus({preventScroll: true});
  },
  showModel(name) { this.set({text: name, rows: 'node'}); },
  /** Shows the nodes that have the letter and the words in the frame. */
  showGap({frame, letter, words}) {
    const passes = (node) => modelOf(node).letters[frame] === letter && refusalOf(modelOf(node), frame).words === words;
    this.set({only: {passes, words: [badge(letter), ` ${frameName(frame)}: `, foreign(words)]}});
  },
  showSwitches(switches, words) {
    const chosen = new Set(switches);
    this.set({only: {passes: (node) => chosen.has(node), words}, rows: 'node'});
  },
};
