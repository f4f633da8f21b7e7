// What frames have no block, why, and what would mend it.

function showMissing() {
  const row = (gap) => make('tr', {},
    make('td', {}, badge(gap.letter)),
    make('td', {class: 'nowrap'}, make('span', {class: 'muted'}, `${gap.frame + 1} `), frames[gap.frame]),
    make('td', {}, make('p', {}, foreign(gap.words)),
      ...gap.reasons.slice(0, 5).map((reason) => make('p', {class: 'small'}, make('b', {}, 'Reason '), foreign(reason))),
      gap.reasons.length > 5 ? make('p', {class: 'small muted'}, `and ${counted(gap.reasons.length - 5, 'other reason')}`) : null,
      gap.mend ? make('p', {class: 'small muted'}, make('b', {}, 'Mend '), gap.mend) : null),
    make('td', {class: 'num', 'data-count': String(gap.nodes)},
      make('button', {class: 'link', type: 'button', title: 'Show these nodes',
        onclick: () => filters.showGap(gap)}, counted(gap.nodes, 'node')),
      make('span', {class: 'small muted block nowrap'}, Object.entries(gap.classes).map(([name, count]) => `${number(count)} ${name}`).join(', '))));
  const table = (title, note, gaps) => gaps.length === 0 ? [] : [
    make('h2', {}, title), make('p', {class: 'muted'}, note),
    make('table', {class: 'gaps'}, make('thead', {}, make('tr', {}, ...['', 'Frame', 'What stands there', 'Nodes'].map((name) =>
      make('th', {scope: 'col'}, name)))), make('tbody', {}, ...gaps.map(row)))];
  byId('view-missing').replaceChildren(
    ...table('Missing', 'The node lacks what the frame needs.', data.gaps.filter((gap) => gap.lack)),
    ...table('Does not apply', 'The attribute is none of the node\u2019s.', data.gaps.filter((gap) => !gap.lack)),
    ...(data.gaps.length === 0 ? [empty('Every frame of every node has a block.')] : []));
}
