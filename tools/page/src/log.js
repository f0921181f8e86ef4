// The log: a list of which only the lines in sight are in the page, however many there are.
import { make } from './dom.js';
import { changesFilter } from './filter.js';
import { firstAtLeast } from './model.js';

const LINE = 22, SPARE = 8;  // pixels; lines beyond what is seen

export class Log {
  constructor(model, store, { onrange }) {
    Object.assign(this, { model, store, onrange, lines: [], times: [] });
    this.list = make('ol', { class: 'lines', role: 'presentation' });
    this.element = make('div', { class: 'log', role: 'listbox', tabindex: 0, 'aria-label': 'Log lines',
      onscroll: () => this.scrolled(), onkeydown: (event) => this.pressed(event) }, this.list);
    this.choose();
    store.on((state, changed) => this.changed(state, changed));
    new ResizeObserver(() => this.scrolled()).observe(this.element);
  }

  choose() {
    const filter = this.store.get();
    this.lines = this.model.marks.time.map((_, mark) => mark).filter((mark) => this.model.isMarkShown(mark, filter));
    this.times = this.lines.map((mark) => this.model.marks.time[mark]);
    this.list.style.height = `${this.lines.length * LINE}px`;
    this.render();
  }

  changed(state, changed) {
    if (changesFilter(changed)) this.choose();
    if (changed.has('selected')) this.reveal(state.selected);
    if (changed.has('view')) this.follow(state.view);
    this.render();
  }

  // Shows the first line of the timeline's stretch, unless lines of it are in sight already.
  follow([from, to]) {
    const [first, last] = this.inSight();
    if (this.times[first] >= from && this.times[last] <= to) return;
    if (this.times[first] <= to && this.times[last] >= from && this.times[first] >= from) return;
    this.scrollToLine(firstAtLeast(this.times, from));
  }

  reveal(selected) {
    if (!selected) return;
    const { marks, sections } = this.model;
    const time = selected.mark !== undefined ? marks.time[selected.mark] : sections.begin[selected.section];
    const line = selected.mark !== undefined ? this.lines.indexOf(selected.mark) : firstAtLeast(this.times, time);
    const [first, last] = this.inSight();
    if (line < first || line > last) this.scrollToLine(Math.max(0, line - 3));
  }

  scrollToLine(line) { this.element.scrollTop = line * LINE; }

  inSight() {
    const { scrollTop, clientHeight } = this.element;
    const first = Math.min(Math.ceil(scrollTop / LINE), Math.max(0, this.lines.length - 1));
    const last = Math.floor((scrollTop + clientHeight) / LINE) - 1;
    return [first, Math.max(first, Math.min(last, this.lines.length - 1))];
  }

  scrolled() {
    this.render();
    if (this.lines.length === 0) return this.onrange(null);
    const [first, last] = this.inSight();
    this.onrange([this.times[first], this.times[last]]);
  }

  render() {
    const [first, last] = this.inSight();
    const from = Math.max(0, first - SPARE), to = Math.min(this.lines.length - 1, last + SPARE);
    const { hits, selected } = this.store.get();
    const items = [];
    for (let line = from; line <= to; ++line) items.push(this.item(line, hits, selected));
    this.list.replaceChildren(...items);
    const isSeen = selected?.mark !== undefined && items.some(({ id }) => id === `line-${selected.mark}`);
    if (isSeen) this.element.setAttribute('aria-activedescendant', `line-${selected.mark}`);
    else this.element.removeAttribute('aria-activedescendant');
  }

  item(line, hits, selected) {
    const mark = this.lines[line], { marks } = this.model;
    const level = marks.level[mark], text = this.model.markText(mark);
    const item = make('li', { id: `line-${mark}`, role: 'option', class: level, title: text,
      'aria-selected': String(selected?.mark === mark), 'aria-posinset': line + 1, 'aria-setsize': this.lines.length,
      onclick: () => this.store.set({ selected: { mark } }) },
    make('span', { class: 'time' }, (marks.time[mark] / 1e6).toFixed(3)),
    make('span', { class: 'level' }, level),
    make('span', { class: 'who' }, this.model.rowName(marks.row[mark])),
    make('span', { class: 'text' }, text));
    if (hits?.marks.has(mark)) item.classList.add('hit');
    item.style.top = `${line * LINE}px`;
    return item;
  }

  pressed(event) {
    const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: 10, PageUp: -10, Home: -Infinity, End: Infinity };
    if (!(event.key in steps) || this.lines.length === 0) return;
    event.preventDefault();
    event.stopPropagation();
    const { selected } = this.store.get();
    const now = selected?.mark !== undefined ? this.lines.indexOf(selected.mark) : this.inSight()[0] - 1;
    const next = Math.min(Math.max(now + steps[event.key], 0), this.lines.length - 1);
    this.store.set({ selected: { mark: this.lines[next] } });
  }
}
