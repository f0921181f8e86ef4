// Plots: how times are spread, in a row of a table; and how they change with a value.
import { axisBottom, axisLeft } from 'd3-axis';
import { scaleLinear, scalePoint } from 'd3-scale';
import { create } from 'd3-selection';
import { make } from './dom.js';
import { msText } from './text.js';

const WIDTH = 300, HEIGHT = 26, EDGE = 24, MOST_DOTS = 40, BINS = 60;

// As numpy's default: between two samples in proportion.
export function quantile(sorted, share) {
  const at = (sorted.length - 1) * share, low = Math.floor(at);
  return sorted[low] + (at - low) * ((sorted[low + 1] ?? sorted[low]) - sorted[low]);
}

const drawing = (width, height, label) => create('svg').attr('viewBox', `0 0 ${width} ${height}`).attr('width', width)
  .attr('height', height).attr('role', 'img').attr('aria-label', label);

// One row's samples on the scale of all: dots while one can tell them apart, else a histogram; a line at the median.
function spread(samples, scale, look) {
  const median = quantile(samples, 0.5);
  const svg = drawing(WIDTH, HEIGHT, `from ${msText(samples[0])} to ${msText(samples.at(-1))}, median ${msText(median)}`);
  if (samples.length <= MOST_DOTS) {
    svg.selectAll('circle').data(samples).join('circle').attr('class', `dot ${look}`)
      .attr('cx', scale).attr('cy', HEIGHT / 2).attr('r', 4);
  } else {
    const counts = new Array(BINS).fill(0), [from, to] = scale.domain();
    for (const each of samples) ++counts[Math.min(BINS - 1, Math.floor(((each - from) / (to - from)) * BINS))];
    const most = Math.max(...counts), width = (WIDTH - 2 * EDGE) / BINS;
    svg.selectAll('rect').data(counts).join('rect').attr('class', `bin ${look}`).attr('width', width)
      .attr('x', (_, i) => EDGE + i * width).attr('y', (count) => HEIGHT - 2 - (count / most) * (HEIGHT - 4))
      .attr('height', (count) => (count / most) * (HEIGHT - 4));
  }
  if (samples.length > 1) svg.append('line').attr('class', 'median').attr('x1', scale(median)).attr('x2', scale(median)).attr('y2', HEIGHT);
  return svg.node();
}

function axisOf(scale, unit) {
  const svg = drawing(WIDTH, 22, `axis in ${unit}`);
  svg.append('g').attr('class', 'axis').call(axisBottom(scale).ticks(5).tickFormat(String));
  return svg.node();
}

// { title, note, unit, sets, rows: [{ name, samples: [one list for each set], failed: [number for each set], note }] }
export function distribution({ title, note, unit = 'ms', sets = [''], rows }) {
  const all = rows.map((row) => ({ ...row, samples: row.samples.map((list) => [...list].sort((a, b) => a - b)) }));
  const most = Math.max(0, ...all.flatMap(({ samples }) => samples.map((list) => list.at(-1) ?? 0))) || 1;
  const scale = scaleLinear([0, most], [EDGE, WIDTH - EDGE]).nice(5);
  const several = sets.length > 1;
  const hasNotes = rows.some((row) => row.note), hasFailures = rows.some((row) => row.failed?.some(Boolean));
  // What happened once has no spread.
  const areSingle = all.every((row) => row.samples.every((list) => list.length <= 1));
  const heads = ['', several ? 'in' : null, ...(areSingle ? ['took'] : ['times', 'median', '90 %', '99 %', 'longest']),
    hasFailures ? 'failed' : null, hasNotes ? '' : null, areSingle ? unit : `spread (${unit})`].filter((head) => head !== null);
  const line = ({ name, samples, failed, note: told }, set) => {
    const list = samples[set], number = (share) => make('td', { class: 'number' }, list.length ? msText(quantile(list, share)) : '–');
    return make('tr', {},
      set === 0 ? make('th', { scope: 'rowgroup', rowspan: sets.length }, name) : null,
      several ? make('td', {}, sets[set]) : null,
      areSingle ? null : make('td', { class: 'number' }, list.length.toLocaleString('en')),
      (areSingle ? [1] : [0.5, 0.9, 0.99, 1]).map(number),
      hasFailures ? make('td', { class: `number ${failed?.[set] ? 'bad' : ''}` }, String(failed?.[set] ?? 0)) : null,
      hasNotes ? make('td', {}, set === 0 ? told ?? '' : '') : null,
      make('td', {}, list.length ? spread(list, scale, `set-${set % 6}`) : ''));
  };
  return make('figure', {}, make('figcaption', {}, make('h3', {}, title), note ? make('p', { class: 'muted' }, note) : null),
    make('div', { class: 'wide', tabindex: 0, role: 'region', 'aria-label': title }, make('table', {},
      make('thead', {}, make('tr', {}, heads.map((head) => make('th', { scope: 'col' }, head)))),
      make('tbody', {}, all.flatMap((row) => sets.map((_, set) => line(row, set)))),
      make('tfoot', {}, make('tr', {}, make('td', { colspan: heads.length - 1 }), make('td', {}, axisOf(scale, unit)))))));
}

// As many of the values as have room for their texts.
function fitting(values, across) {
  const room = 14 + 7 * Math.max(...values.map((value) => String(value).length));
  let end = -Infinity;
  return values.filter((value) => {
    if (across(value) < end + room) return false;
    end = across(value);
    return true;
  });
}

// { title, note, x: { name, values }, unit, series: [{ name, y, low, high }] }: lists as long as x.values.
export function lines({ title, note, x, unit = 'ms', series }) {
  const width = 640, height = 300, left = 60, bottom = 44;
  const isNumeric = x.values.every((value) => typeof value === 'number');
  const across = isNumeric ? scaleLinear([Math.min(...x.values), Math.max(...x.values)], [left, width - 20])
    : scalePoint(x.values, [left, width - 20]);
  const most = Math.max(...series.flatMap(({ y, high }) => [...y, ...(high ?? [])]).filter(Number.isFinite), 1e-9);
  const up = scaleLinear([0, most], [height - bottom, 12]).nice();
  const svg = drawing(width, height, title).attr('class', 'plot');
  svg.append('g').attr('class', 'axis').attr('transform', `translate(0 ${height - bottom})`)
    .call(axisBottom(across).tickValues(fitting(x.values, across)));
  svg.append('g').attr('class', 'axis').attr('transform', `translate(${left} 0)`)
    .call(axisLeft(up).ticks(6).tickFormat((value) => `${value} ${unit}`));
  svg.append('text').attr('class', 'name').attr('x', (left + width) / 2).attr('y', height - 6).text(x.name);
  series.forEach(({ y, low, high }, index) => {
    const points = x.values.map((value, i) => [across(value), y[i], low?.[i], high?.[i]]).filter((point) => Number.isFinite(point[1]));
    const look = `set-${index % 6}`, path = (list) => list.map(([a, b]) => `${a},${b}`).join(' ');
    if (low && high) {
      svg.append('polygon').attr('class', `band ${look}`)
        .attr('points', path([...points.map(([a, , l]) => [a, up(l)]), ...points.map(([a, , , h]) => [a, up(h)]).reverse()]));
    }
    svg.append('polyline').attr('class', `line ${look}`).attr('points', path(points.map(([a, b]) => [a, up(b)])));
    for (const [a, b] of points) svg.append('circle').attr('class', `dot ${look}`).attr('cx', a).attr('cy', up(b)).attr('r', 4);
  });
  const legend = make('ul', { class: 'legend' }, series.map(({ name }, index) =>
    make('li', {}, make('span', { class: `swatch set-${index % 6}` }), name)));
  return make('figure', {}, make('figcaption', {}, make('h3', {}, title), note ? make('p', { class: 'muted' }, note) : null),
    legend, make('div', { class: 'wide', tabindex: 0, role: 'region', 'aria-label': title }, svg.node()));
}
