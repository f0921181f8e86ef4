// The keyboard: the same keys wherever the focus is, but in fields; arrows where the timeline has it.
import { isTyping, make } from './dom.js';

export const KEYS = [
  ['wheel, + −', 'zoom in and out'], ['*', 'show all'], ['drag, Shift ← →', 'move'],
  ['Shift wheel', 'up and down'], ['← →', 'the bar before, the next'], ['↑ ↓', 'the bar around, the bar within or the next row'],
  ['Enter', 'zoom to the bar'], ['Esc', 'let go of it'], ['/', 'search'], ['n N', 'next match, previous match'],
];

const LOOKS = [['request', 'request'], ['wait', 'wait'], ['trace', 'trace section'], ['call', 'power call of a sensor'],
  ['powering', 'powering'], ['on', 'on, and the clients that count on it'], ['failed', 'failed, or counted on while it is not on'],
  ['running', 'beneath the bars, where it is known: the thread ran'], ['runnable', 'it waited for a processor']];

const pairs = (list) => make('dl', {}, list.flatMap(([term, told]) => [make('dt', {}, term), make('dd', {}, told)]));

export const keysTable = () => make('details', { class: 'keys', id: 'keys' }, make('summary', {}, 'Keys and colours'),
  pairs(KEYS.map(([key, does]) => [make('kbd', {}, key), does])),
  pairs(LOOKS.map(([look, told]) => [make('span', { class: `look look-${look}` }), told])));

// The section that an arrow key leads to; null: none.
function neighbour(model, layout, section, key) {
  const rows = layout.blocks.filter(({ kind }) => kind === 'row');
  const firstOf = (row, depth = 0) => row?.levels[depth]?.index[0] ?? null;
  if (section === undefined) return firstOf(rows[0]);
  const { row, depth, holder, begin } = model.sections;
  const number = rows.findIndex((each) => each.row === row[section]);
  const level = rows[number]?.levels[depth[section]];
  if (!level) return firstOf(rows[0]);
  const place = level.index.indexOf(section);
  if (key === 'ArrowLeft') return level.index[place - 1] ?? null;
  if (key === 'ArrowRight') return level.index[place + 1] ?? null;
  if (key === 'ArrowUp') return holder[section] ?? rows[number - 1]?.levels[0]?.index.at(-1) ?? null;
  const inner = rows[number].levels[depth[section] + 1]?.index.find((each) => holder[each] === section);
  return inner ?? rows[number + 1]?.levels[0]?.index.find((each) => begin[each] >= begin[section])
    ?? firstOf(rows[number + 1]);
}

export function listenToKeys(model, store, { timeline, search }) {
  document.addEventListener('keydown', (event) => {
    if (isTyping(event) || event.ctrlKey || event.metaKey || event.altKey) return;
    const actions = {
      '+': () => timeline.zoomBy(1.5), '=': () => timeline.zoomBy(1.5), '-': () => timeline.zoomBy(1 / 1.5),
      '*': () => timeline.show([model.begin, model.end]), '/': () => search.input.focus(),
      n: () => search.step(1), N: () => search.step(-1), Escape: () => store.set({ selected: null }),
    };
    if (!actions[event.key]) return;
    event.preventDefault();
    actions[event.key]();
  });
  timeline.canvas.addEventListener('keydown', (event) => {
    const { selected } = store.get();
    if (event.key === 'Enter' && selected?.section !== undefined) timeline.zoomTo(selected.section);
    if (!event.key.startsWith('Arrow')) return;
    event.preventDefault();
    if (event.shiftKey) return timeline.panBy(event.key === 'ArrowLeft' ? -0.2 : event.key === 'ArrowRight' ? 0.2 : 0);
    const found = neighbour(model, timeline.layout, selected?.section, event.key);
    if (found !== null) store.set({ selected: { section: found } });
  });
}
