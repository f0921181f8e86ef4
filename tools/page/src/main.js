// Puts the page together.
import { Details } from './details.js';
import { button, make, part } from './dom.js';
import { filterOf } from './filter.js';
import { keysTable, listenToKeys } from './keys.js';
import { Log } from './log.js';
import { readModel } from './model.js';
import { scenarioOf, showLine } from './scenario.js';
import { Search } from './search.js';
import { statisticsOf } from './statistics.js';
import { createStore } from './store.js';
import { counted, timeText } from './text.js';
import { Timeline } from './timeline.js';
import { wrongOf } from './wrong.js';

const THEMES = { auto: 'light', light: 'dark', dark: 'auto' };

function themeButton(onchange) {
  let theme = 'auto';
  const text = () => `Colours: ${theme}`;
  const change = () => {
    theme = THEMES[theme];
    document.documentElement.dataset.theme = theme;
    switcher.textContent = text();
    onchange();
  };
  const switcher = button(text(), change, { class: 'theme' });
  return switcher;
}

function factsOf({ data, count, marks }) {
  const { result, facts = [] } = data;
  const list = [...facts];
  if (result) {
    list.unshift(['file', result.file], ['took', timeText(result.duration_ms * 1e6)], ['clock', result.clock],
      ['seed', result.seed]);
  }
  if (count !== undefined) list.push(['holds', `${counted(count, 'section')}, ${counted(marks.time.length, 'log line')}`]);
  return make('dl', { class: 'facts' }, list.filter(([, value]) => value !== null && value !== undefined)
    .map(([name, value]) => make('div', {}, make('dt', {}, name), make('dd', {}, String(value)))));
}

function timelinePart(model) {
  const store = createStore({ view: [model.begin, model.end], selected: null, sides: new Set(), clients: new Set(), sensors: new Set(),
    query: '', hits: null });
  const timeline = new Timeline(model, store);
  const search = new Search(model, store);
  const details = new Details(model, store, { onzoom: (section) => timeline.zoomTo(section) });
  const log = new Log(model, store, { onrange: (range) => {
    timeline.setLogRange(range);
    const [from, to] = store.get().view;
    // The timeline follows the log where the lines in sight have left it.
    if (range && (range[1] < from || range[0] > to)) {
      const middle = (range[0] + range[1]) / 2;
      timeline.show([middle - (to - from) / 2, middle + (to - from) / 2]);
    }
  } });
  listenToKeys(model, store, { timeline, search });
  const zooms = make('div', { class: 'zooms', role: 'group', 'aria-label': 'Zoom' },
    button('−', () => timeline.zoomBy(1 / 1.5), { 'aria-label': 'Zoom out', title: 'Zoom out (-)' }),
    button('+', () => timeline.zoomBy(1.5), { 'aria-label': 'Zoom in', title: 'Zoom in (+)' }),
    button('All', () => timeline.show([model.begin, model.end]), { title: 'Show all (*)' }));
  const element = part('timeline', 'Timeline', make('div', { class: 'tools' }, search.element, zooms, keysTable()),
    filterOf(model, store),
    make('div', { class: 'panes' }, make('div', { class: 'pane' }, timeline.element, make('h3', {}, 'Log'), log.element),
      details.element));
  const scroll = () => element.scrollIntoView({ block: 'nearest' });
  return {
    element,
    timeline,
    showSection(section) {
      store.set({ selected: { section } });
      scroll();
    },
    showTime(time) {
      const half = (model.end - model.begin) / 20;
      timeline.show([time - half, time + half]);
      scroll();
    },
  };
}

function start() {
  const model = readModel();
  const shown = model.rows ? timelinePart(model) : {};
  const repaint = () => shown.timeline?.repaint();
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', repaint);
  const isSourceThere = Boolean(model.data.scenario);
  const parts = [wrongOf(model, { ...shown, showLine: isSourceThere ? showLine : null }), shown.element,
    statisticsOf(model, shown), scenarioOf(model)].filter(Boolean);
  const names = make('nav', { 'aria-label': 'Parts of the page' },
    parts.map(({ id, firstChild }) => make('a', { href: `#${id}` }, firstChild.textContent)));
  document.getElementById('page').append(
    make('header', {}, make('h1', {}, model.data.title), names, themeButton(repaint), factsOf(model)), ...parts);
}

start();
