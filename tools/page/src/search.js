// The search: what of the timeline and of the log holds a text, and the way from one to the next.
import { button, make } from './dom.js';
import { changesFilter } from './filter.js';

// All that matches, by time; null where nothing is searched for.
export function hitsOf(model, filter, query) {
  const wanted = query.trim().toLowerCase();
  if (!wanted) return null;
  const holds = (text) => (text ?? '').toLowerCase().includes(wanted);
  const texts = model.texts.map(holds);
  const rows = model.rows.map(({ name }) => holds(name));
  const { sections, marks } = model;
  const hits = { sections: new Set(), marks: new Set(), inOrder: [] };
  const add = (kind, index, time) => {
    hits[`${kind}s`].add(index);
    hits.inOrder.push({ time, what: { [kind]: index } });
  };
  for (let i = 0; i < model.count; ++i) {
    const isOutermost = sections.depth[i] === 0;
    const matches = texts[sections.label[i]] || (isOutermost && rows[sections.row[i]]);
    if (matches && model.isShown(i, filter)) add('section', i, sections.begin[i]);
  }
  for (let i = 0; i < marks.time.length; ++i) {
    if (texts[marks.text[i]] && model.isMarkShown(i, filter)) add('mark', i, marks.time[i]);
  }
  hits.inOrder.sort((a, b) => a.time - b.time);
  return hits;
}

export class Search {
  constructor(model, store) {
    Object.assign(this, { model, store, at: -1 });
    this.input = make('input', { type: 'search', id: 'search', placeholder: 'Search  /', autocomplete: 'off',
      'aria-label': 'Search the timeline and the log', oninput: () => this.find(),
      onkeydown: (event) => this.pressed(event) });
    this.told = make('output', { class: 'told', for: 'search' });
    this.element = make('div', { class: 'search', role: 'search' }, this.input,
      button('‹', () => this.step(-1), { 'aria-label': 'Previous match', title: 'Previous match (N)' }),
      button('›', () => this.step(1), { 'aria-label': 'Next match', title: 'Next match (n)' }), this.told);
    store.on((state, changed) => {
      if (changesFilter(changed)) this.find();
    });
  }

  find() {
    this.at = -1;
    const query = this.input.value;
    this.store.set({ query, hits: hitsOf(this.model, this.store.get(), query) });
    this.tell();
  }

  tell() {
    const hits = this.store.get().hits?.inOrder;
    const place = this.at >= 0 ? `${this.at + 1} of ` : '';
    this.told.textContent = !hits ? '' : hits.length === 0 ? 'nothing found' : `${place}${hits.length}`;
  }

  step(by) {
    const hits = this.store.get().hits?.inOrder;
    if (!hits?.length) return;
    this.at = this.at < 0 ? (by > 0 ? 0 : hits.length - 1) : (this.at + by + hits.length) % hits.length;
    this.store.set({ selected: hits[this.at].what });
    this.tell();
  }

  pressed(event) {
    if (event.key === 'Enter') this.step(event.shiftKey ? -1 : 1);
    if (event.key !== 'Escape') return;
    this.input.value = '';
    this.find();
    this.input.blur();
  }
}
