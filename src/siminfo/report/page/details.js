// The panel that tells everything about one node: a frame's body and why it is so, and the node's links.

const details = {
  panel: byId('details'),
  returnTo: null,

  /** `alike` nodes, of which this is the first, are in the row that was chosen. */
  show(node, frame, alike = 1) {
    const model = modelOf(node);
    const panel = this.panel;
    const hadFocus = panel.contains(document.activeElement);
    if (panel.hidden) this.returnTo = document.activeElement;
    panel.hidden = false;
    document.body.classList.add('has-details');
    panel.replaceChildren(...[
      make('header', {},
        make('h2', {}, foreign(nameOf(node))),
        make('button', {class: 'close', type: 'button', 'aria-label': 'Close details', onclick: () => this.close()}, '\u00d7')),
      alike > 1 ? make('p', {class: 'muted small'}, `The first of ${number(alike)} nodes in this row. Their outcomes are the same.`) : null,
      this.facts(node, model),
      make('nav', {class: 'strip', 'aria-label': 'Frames of the node'}, ...frames.map((name, i) =>
        make('button', {class: `cell ${model.letters[i]}`, type: 'button', title: frameName(i), 'aria-pressed': String(i === frame),
          'aria-label': `${frameName(i)}: ${WORDS[model.letters[i]]}`, onclick: () => this.showFrame(node, i)}, model.letters[i]))),
      make('section', {id: 'frame-body'}),
      this.links(node)].filter((part) => part));
    this.showFrame(node, frame);
    panel.scrollTop = 0;
    if (this.covers()) panel.querySelector('.close').focus();
    else if (hadFocus) panel.focus();
  },

  /** Whether the panel lies over the view, for want of room beside it. */
  covers() { return getComputedStyle(this.panel).position === 'fixed'; },

  close() {
    if (this.panel.hidden) return;
    this.panel.hidden = true;
    document.body.classList.remove('has-details');
    // What had the focus may have been drawn anew.
    const back = this.returnTo.isConnected ? this.returnTo : document.querySelector('[role=tabpanel]:not([hidden]) [tabindex="0"]');
    if (back) back.focus();
  },

  facts(node, model) {
    const fact = (name, ...value) => make('div', {}, make('dt', {}, name), make('dd', {}, ...value));
    return make('dl', {class: 'facts'},
      fact('GUID', make('code', {}, guidOf(node))),
      fact('Class', model.class),
      fact('Ports', `${model.ports}, ${nodes.up[node]} above Down`),
      nodes.level[node] > 0 ? fact('Level', String(nodes.level[node])) : null,
      fact('Model', make('button', {class: 'link', type: 'button', title: 'Show the nodes of this model',
        onclick: () => filters.showModel(model.name)}, model.name), ` of ${counted(model.nodes, 'node')}`));
  },

  showFrame(node, frame) {
    this.panel.querySelectorAll('.strip button').forEach((button, i) => button.setAttribute('aria-pressed', String(i === frame)));
    const model = modelOf(node);
    const letter = model.letters[frame];
    const body = bodyOf(node, frame);
    const parts = [make('h3', {}, badge(letter), ' ', `${frame + 1} ${data.frames[frame]}`,
      make('span', {class: 'muted'}, ` ${WORDS[letter]}`))];
    if (letter !== 'B') {
      const {words, mend} = refusalOf(model, frame);
      const rows = [make('dt', {}, 'Why'), make('dd', {}, foreign(named(words, node)))];
      for (const reason of absent.get(`${node} ${frame}`) || [])
        rows.push(make('dt', {}, 'Reason'), make('dd', {class: 'reason'}, foreign(reason)));
      if (mend) rows.push(make('dt', {}, 'Mend'), make('dd', {}, mend));
      parts.push(make('dl', {class: 'why'}, ...rows));
    }
    parts.push(body === null ?
      make('p', {class: 'notice'}, 'The bodies of this model are not in the page, which would be too large with them. ',
        make('code', {}, `siminfo inspect SNAPSHOT --node ${guidOf(node)} --json`), ' has them, and so has a report of fewer nodes.') :
      make('pre', {class: letter === 'B' ? 'body' : 'body wrapped', tabindex: '0', 'aria-label': 'Emitted body'}, body));
    byId('frame-body').replaceChildren(...parts);
  },

  links(node) {
    const own = cablesOf(node);
    const rows = own.map(({port, node: far, farPort, speed}) => make('tr', {},
      make('td', {class: 'num'}, String(port)),
      make('td', {}, far < nodeCount ?
        make('button', {class: 'link', type: 'button', onclick: () => this.show(far, 0)}, foreign(nameOf(far))) :
        make('span', {class: 'muted', title: 'not in this report'}, foreign(nameOf(far)))),
      make('td', {class: 'num'}, String(farPort)),
      make('td', {}, speed)));
    return make('section', {class: 'links'},
      make('h3', {}, 'Links ', make('span', {class: 'muted'}, number(own.length))),
      own.length === 0 ? make('p', {class: 'muted'}, 'The snapshot tells of no cable at this node.') :
        make('table', {}, make('thead', {}, make('tr', {}, ...['Port', 'to', 'its port', 'runs at'].map((name) =>
          make('th', {scope: 'col'}, name)))), make('tbody', {}, ...rows)));
  },
};
