// The figures: those of a record, and those that the data bring along.
import { button, part } from './dom.js';
import { FAILED, OPEN } from './model.js';
import { distribution, lines } from './plot.js';
import { table } from './table.js';

// Rows of a distribution: `each` calls add(name, ms, failed).
function grouped(each) {
  const groups = new Map();
  each((name, ms, failed) => {
    if (!groups.has(name)) groups.set(name, { name, samples: [[]], failed: [0] });
    const group = groups.get(name);
    group.samples[0].push(ms);
    if (failed) ++group.failed[0];
  });
  return [...groups.values()];
}

const sensorsText = (model, request) =>
  (request.sensors === null ? '?' : request.sensors.map((id) => model.sensorName(id)).join(' '));

function ofRecord(model, showSection) {
  const figures = [];
  const requests = grouped((add) => {
    for (const request of model.requests) {
      if (!request.ended || request.slowest_ms === null) continue;
      add(`${request.client}: ${request.request} ${sensorsText(model, request)}`, request.wall_ms,
        request.result === false || request.failed_sensors.length > 0);
    }
  });
  if (requests.length) figures.push(distribution({ title: 'Requests that powered sensors', rows: requests }));
  const calls = grouped((add) => {
    for (let i = 0; i < (model.count ?? 0); ++i) {
      if (model.sections.kind[i] !== 3 || model.sections.state[i] === OPEN) continue;
      add(model.label(i), model.duration(i) / 1e6, model.sections.state[i] === FAILED);
    }
  });
  if (calls.length) figures.push(distribution({ title: 'Power calls of sensors', rows: calls }));
  if (model.requests.length) figures.push(requestTable(model, showSection));
  return figures;
}

function requestTable(model, showSection) {
  const name = (request, index) => {
    const section = model.sectionOfRequest?.get(index);
    return section === undefined ? request.request : button(request.request, () => showSection(section), { class: 'link' });
  };
  const result = ({ result: answer, ended, failed_sensors: failed }) => {
    const came = !ended ? 'had not ended' : answer === null ? 'done' : String(answer);
    return failed.length ? `${came}, ${failed.map((id) => model.sensorName(id)).join(' ')} failed` : came;
  };
  return table({ title: 'All requests',
    columns: [{ name: 'client' }, { name: 'request' }, { name: 'sensors' }, { name: 'result' }, { name: 'began', unit: 'ms' },
      { name: 'wall', unit: 'ms' }, { name: 'slowest', unit: 'ms' }, { name: 'in turn', unit: 'ms' }],
    rows: model.requests.map((request, index) => [request.client, name(request, index), sensorsText(model, request),
      result(request), request.began_ms, request.wall_ms, request.slowest_ms, request.in_turn_ms]) });
}

export function statisticsOf(model, { showSection }) {
  const { overview = [], distributions = [], plots = [], tables = [], values, blame, sides } = model.data;
  const figures = [...overview.map(table), ...plots.map(lines), ...(values ? [table(values)] : []),
    ...distributions.map(distribution), ...tables.map(table),
    ...(blame?.rows.length ? [table(blame)] : []), ...(sides ? [] : ofRecord(model, showSection))];
  return figures.length ? part('statistics', 'Statistics', figures) : null;
}
