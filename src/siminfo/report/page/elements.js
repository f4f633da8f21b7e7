// Elements are made here, of text and never of markup: no text of a device can become anything else.

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (value === true) element.setAttribute(name, '');
    else if (value !== false && value !== null) element.setAttribute(name, value);
  }
  element.append(...children.filter((child) => child !== null));
  return element;
}

const make = (tag, attributes = {}, ...children) => fill(document.createElement(tag), attributes, children);
const draw = (tag, attributes = {}, ...children) =>
  fill(document.createElementNS('http://www.w3.org/2000/svg', tag), attributes, children);
const byId = (id) => document.getElementById(id);
const badge = (letter) => make('span', {class: `badge ${letter}`, title: WORDS[letter]}, letter);
/** A text of a device, whose direction of writing ends with it. */
const foreign = (text) => make('bdi', {}, text);
const frameName = (frame) => `${frame + 1} ${frames[frame]}`;
const cssNumber = (element, name) => parseFloat(getComputedStyle(element).getPropertyValue(name));
/** The text with its middle left out if it is longer than that: names of devices differ at their ends. */
const shortened = (text, most) => text.length <= most ? text :
  `${text.slice(0, Math.ceil(most / 2) - 1)}\u2026${text.slice(text.length - Math.floor(most / 2))}`;
const empty = (text) => make('p', {class: 'empty'}, text);
