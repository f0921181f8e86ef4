// Tables, by whose columns one sorts.
import { button, make } from './dom.js';
import { msText } from './text.js';

const FIRST = 200;  // rows that are shown until one asks for more

function cell(value, unit) {
  if (value === null || value === undefined) return make('td', { class: 'number muted' }, '–');
  if (value instanceof Node) return make('td', {}, value);
  if (typeof value !== 'number') return make('td', {}, String(value));
  return make('td', { class: 'number' }, unit === 'ms' ? msText(value) : value.toLocaleString('en', { maximumFractionDigits: 1 }));
}

const keyOf = (value) => (value instanceof Node ? value.textContent : value);

// What is unknown stands last either way.
function compare(a, b, direction) {
  const [one, other] = [keyOf(a), keyOf(b)];
  if (one === null || other === null) return (one === null) - (other === null);
  return direction * (typeof one === 'number' && typeof other === 'number' ? one - other : String(one).localeCompare(String(other)));
}

// { title, note, columns: [{ name, unit }], rows: [[value]] }: a value is a text, a number, null, or an element.
export function table({ title, note, columns, rows }) {
  let shown = FIRST, by = -1, direction = 1;
  const body = make('tbody'), foot = make('p', { class: 'muted' });
  const heads = columns.map(({ name, unit }, index) => make('th', { scope: 'col' },
    button(unit ? `${name} (${unit})` : name, () => sort(index), { class: 'link' })));
  function fill() {
    const sorted = by < 0 ? rows : [...rows].sort((a, b) => compare(a[by], b[by], direction));
    body.replaceChildren(...sorted.slice(0, shown).map((row) =>
      make('tr', {}, row.map((value, index) => cell(value, columns[index].unit)))));
    foot.replaceChildren(...(rows.length > shown ? [`${shown} of ${rows.length.toLocaleString('en')} rows. `,
      button('Show more', () => { shown *= 5; fill(); })] : []));
  }
  function sort(index) {
    direction = by === index ? -direction : 1;
    by = index;
    heads.forEach((head, i) => head.setAttribute('aria-sort', i !== by ? 'none' : direction > 0 ? 'ascending' : 'descending'));
    fill();
  }
  fill();
  return make('figure', {}, make('figcaption', {}, make('h3', {}, title), note ? make('p', { class: 'muted' }, note) : null),
    make('div', { class: 'wide', tabindex: 0, role: 'region', 'aria-label': title },
      make('table', {}, make('thead', {}, make('tr', {}, heads)), body)), foot);
}
