// What is known of the bar or the log line that is selected: itself, its chain, its log lines.
import { button, make } from './dom.js';
import { KINDS, FAILED, OPEN } from './model.js';
import { counted, timeText } from './text.js';

const MOST_LINES = 100;

export class Details {
  constructor(model, store, { onzoom }) {
    Object.assign(this, { model, store, onzoom });
    this.element = make('aside', { class: 'details', 'aria-live': 'polite', 'aria-label': 'Details' });
    store.on((state, changed) => {
      if (changed.has('selected')) this.render(state.selected);
    });
    this.render(null);
  }

  render(selected) {
    if (!selected) {
      this.element.replaceChildren(make('p', { class: 'muted' },
        'Click a bar for its details, its chain and its log lines. ',
        'Arrow keys go from bar to bar.'));
    } else if (selected.mark !== undefined) {
      this.element.replaceChildren(...this.ofMark(selected.mark));
    } else {
      this.element.replaceChildren(...this.ofSection(selected.section));
    }
  }

  go(section) {
    return button(this.model.label(section), () => this.store.set({ selected: { section } }), { class: 'link' });
  }

  facts(list) {
    return make('dl', {}, list.filter(([, value]) => value !== null && value !== undefined && value !== '')
      .flatMap(([name, value]) => [make('dt', {}, name), make('dd', {}, value)]));
  }

  ofMark(mark) {
    const { marks } = this.model;
    const section = marks.section[mark];
    return [make('h3', {}, this.model.markText(mark)),
      this.facts([['level', marks.level[mark]], ['at', `${marks.time[mark] / 1e6} ms`],
        ['on', this.model.rowName(marks.row[mark])], ['in', section === null ? null : this.go(section)]])];
  }

  ofSection(section) {
    const { model } = this, { sections } = model;
    const request = model.requestOf(section), number = sections.request[section];
    const own = model.sectionOfRequest.get(number);
    const state = { [FAILED]: 'failed', [OPEN]: 'had not ended' }[sections.state[section]];
    const way = model.way(section).slice(0, -1).flatMap((each, i) => (i ? [' › ', this.go(each)] : [this.go(each)]));
    return [make('h3', {}, model.label(section), state ? make('span', { class: 'badge bad' }, state) : null),
      this.facts([['what', KINDS[sections.kind[section]]], ['on', model.rowName(sections.row[section])],
        ['in', way.length ? make('span', {}, way) : null],
        ['for', own !== undefined && own !== section ? make('span', {}, `${request.client}: `, this.go(own)) : null],
        ['from', `${sections.begin[section] / 1e6} ms`], ['took', timeText(model.duration(section))],
        ['result', sections.kind[section] === 0 ? this.resultOf(request) : null]]),
      button('Zoom to it', () => this.onzoom(section)),
      ...this.chainOf(number), ...this.linesOf(section)];
  }

  resultOf(request) {
    if (!request || request.result === null || request.result === undefined) return null;
    const failed = request.failed_sensors.map((id) => this.model.sensorName(id));
    return failed.length ? `${request.result}, ${failed.join(', ')} failed` : String(request.result);
  }

  // What the request waited for, back to its start, with what each link cost.
  chainOf(request) {
    const chain = this.model.chains[request];
    if (!chain?.links.length) return [];
    const longest = Math.max(...chain.links.map(({ ms }) => ms), 1e-9);
    const items = chain.links.map(({ what, ms }) => {
      const gauge = make('span', { class: 'gauge' });
      gauge.style.width = `${(100 * ms) / longest}%`;
      return make('li', {}, make('span', { class: 'ms' }, `${ms.toFixed(ms < 1 ? 3 : 1)} ms`),
        make('span', {}, what), gauge);
    });
    return [make('h4', {}, 'Chain'), make('p', {}, chain.text), make('ol', { class: 'chain' }, items)];
  }

  linesOf(section) {
    const lines = this.model.marksOf(section);
    const items = lines.slice(0, MOST_LINES).map((mark) => make('li', { class: this.model.marks.level[mark] },
      button(this.model.markText(mark), () => this.store.set({ selected: { mark } }), { class: 'link' })));
    return [make('h4', {}, counted(lines.length, 'log line')), make('ol', { class: 'own-lines' }, items),
      lines.length > MOST_LINES ? make('p', { class: 'muted' }, `and ${lines.length - MOST_LINES} more`) : null]
      .filter(Boolean);
  }
}
