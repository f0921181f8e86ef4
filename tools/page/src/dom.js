// Makes elements. Texts become text nodes, never markup: what the data hold cannot act.
export function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value === true ? '' : value);
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return element;
}

export const button = (text, onclick, properties = {}) =>
  make('button', { type: 'button', onclick, ...properties }, text);

// A part of the page under a heading of its own.
export function part(id, title, ...children) {
  return make('section', { id, 'aria-labelledby': `${id}-title` },
    make('h2', { id: `${id}-title` }, title), ...children);
}

// Whether a key press belongs to a field that people type in.
export const isTyping = (event) => event.target.closest?.('input:not([type=checkbox]), select, textarea') !== null;
