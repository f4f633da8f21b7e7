'use strict';
// What the page shows: the tables of the document in it, and questions about them.

const data = JSON.parse(document.getElementById('data').textContent);
const nodes = data.nodes;
const nodeCount = nodes.name.length;
const frames = data.frames.map((method) => method.replace(/^set/, ''));
const WORDS = {B: 'block', c: 'comment', E: '#error line'};
const models = data.models.map(([name, nodeClass, ports, letters, ...refusals]) =>
  ({name, class: data.classes[nodeClass], ports, letters, refusals, nodes: 0, letterCounts: countLetters(letters)}));
for (const model of nodes.model) ++models[model].nodes;

const absent = new Map();  // "node frame" to reasons
for (const [node, frame, ...reasons] of data.absent)
  absent.set(`${node} ${frame}`, reasons.map((reason) => data.reasons[reason]));

function countLetters(letters) {
  const counts = {B: 0, c: 0, E: 0};
  for (const letter of letters) ++counts[letter];
  return counts;
}

const numberForm = new Intl.NumberFormat('en-US');
const number = (value) => numberForm.format(value);
const counted = (value, thing) => `${number(value)} ${thing}${value === 1 ? '' : 's'}`;
const hex = (value) => `0x${value.toString(16)}`;

const modelOf = (node) => models[nodes.model[node]];
/** Also of a node that is not among the selected ones: its number follows theirs. */
const nameOf = (node) => node < nodeCount ? nodes.name[node] : data.others[node - nodeCount];
const guidOf = (node) => `0x${nodes.guid[node]}`;

/** How many of the frames before this one have a block, or have none. */
function placeAmong(letters, frame, isBlock) {
  let place = 0;
  for (let i = 0; i < frame; ++i) place += (letters[i] === 'B') === isBlock;
  return place;
}

/** What stands in the frame in place of a block: body, words, and what would mend it. */
function refusalOf(model, frame) {
  const [body, words, mend] = data.refusals[model.refusals[placeAmong(model.letters, frame, false)]];
  return {body, words, mend};
}

/** The text of a diagnostic for one node. */
const named = (text, node) => text.replace('node=NODE', () => `node=${nameOf(node)}`);

/** The body of the node's frame, or null when the page does not have it. */
function bodyOf(node, frame) {
  const model = modelOf(node);
  if (model.letters[frame] !== 'B') return named(refusalOf(model, frame).body, node);
  const bodies = data.model_bodies[nodes.model[node]];
  if (bodies.length === 0) return null;
  const lines = data.bodies[bodies[placeAmong(model.letters, frame, true)]];
  return lines.map((line) => data.lines[line]).join('\n');
}

/** Every cable with both of its ends. */
const cables = (() => {
  const {from, port, to, far_port: farPort, speed} = data.links;
  let node = 0;
  return from.map((step, i) => {
    node += step;
    return {from: node, port: port[i], to: to[i], farPort: farPort[i], speed: data.speeds[speed[i]]};
  });
})();

/** The cables of each node, made when they are first asked for. */
const cablesOf = (() => {
  let all = null;
  return (node) => {
    if (all === null) {
      all = Array.from({length: nodeCount}, () => []);
      for (const {from, port, to, farPort, speed} of cables) {
        all[from].push({port, node: to, farPort, speed});
        if (to < nodeCount) all[to].push({port: farPort, node: from, farPort: port, speed});
      }
      for (const own of all) own.sort((a, b) => a.port - b.port);
    }
    return all[node];
  };
})();

const isSwitch = (node) => modelOf(node).class === 'SW';
