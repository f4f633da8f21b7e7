// The page as a whole: its head, and one view at a time.

const tabs = {
  names: ['nodes', 'missing', 'topology', 'matrix'],

  choose(name, withFocus = false) {
    for (const each of this.names) {
      const tab = byId(`tab-${each}`);
      tab.setAttribute('aria-selected', String(each === name));
      tab.tabIndex = each === name ? 0 : -1;
      byId(`view-${each}`).hidden = each !== name;
    }
    if (withFocus) byId(`tab-${name}`).focus();
  },

  start() {
    this.names.forEach((name, i) => {
      byId(`tab-${name}`).addEventListener('click', () => this.choose(name));
      byId(`tab-${name}`).addEventListener('keydown', (event) => {
        const step = {ArrowRight: 1, ArrowLeft: -1}[event.key];
        if (step) this.choose(this.names[(i + step + this.names.length) % this.names.length], true);
      });
    });
    this.choose('nodes');
  },
};

function showHead() {
  const title = data.fabric || data.source || 'Fabric report';
  document.title = `${title} \u2013 siminfo report`;
  byId('title').replaceChildren(foreign(title));
  byId('origin').append(...[data.fabric && data.source ? foreign(data.source) : null,
    data.collected_at ? make('span', {}, 'collected ', foreign(data.collected_at)) : null, data.tool]
    .filter((part) => part).flatMap((part, i) => i > 0 ? [' \u00b7 ', part] : [part]));
  const sum = (of) => models.reduce((total, model) => total + of(model), 0);
  const up = nodes.up.reduce((total, each) => total + each, 0);
  const withErrors = sum((model) => model.letters.includes('E') ? model.nodes : 0);
  const total = (name, value, note, letter = '') => make('div', {class: letter}, make('dt', {}, name),
    make('dd', {'data-total': name, 'data-count': String(value)}, number(value)), make('dd', {class: 'note'}, note));
  byId('totals').replaceChildren(
    total('Nodes', nodeCount, data.all_nodes !== nodeCount ? `of ${number(data.all_nodes)}` :
      [...new Set(models.map((model) => model.class))].sort().map((name) =>
        `${number(sum((model) => model.class === name ? model.nodes : 0))} ${name}`).join(', ')),
    total('Models', models.length, 'distinct devices'),
    total('Ports', sum((model) => model.ports * model.nodes), `${number(up)} above Down`),
    total('Links', data.all_links, data.leaving_links > 0 ? `${number(data.leaving_links)} more leave it` :
      data.all_nodes !== nodeCount ? 'of the whole snapshot' : 'between these nodes'),
    total('Nodes with #error', withErrors, withErrors > 0 ? 'stop a simulator\u2019s build' : 'nothing stops a build', withErrors > 0 ? 'E' : ''));
}

showHead();
tabs.start();
grid.start();
filters.start();
showMissing();
topology.start();
matrix.start();
document.addEventListener('keydown', (event) => {
  if (event.key === 'Escape') details.close();
  if (event.key === '/' && !event.target.closest('input, select')) {
    event.preventDefault();
    tabs.choose('nodes');
    byId('text').focus();
  }
});
