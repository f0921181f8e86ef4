// What the page is of: the data that the tool has written, with the questions that the parts ask of them.
import { merged } from './sides.js';

export const KINDS = ['request', 'wait', 'section', 'sensor call'];
export const ENDED = 0, FAILED = 1, OPEN = 2;

export function readModel() {
  return new Model(JSON.parse(document.getElementById('data').textContent));
}

// In a list that grows, the first index whose value is at least `value`.
export function firstAtLeast(list, value) {
  let low = 0, high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (list[middle] < value) low = middle + 1; else high = middle;
  }
  return low;
}

export class Model {
  constructor(data) {
    const { result, timeline, chains = [], requests = result?.requests, sensors = result?.sensors } =
      data.sides ? merged(data.sides) : data;
    this.data = data;
    this.chains = chains;
    this.requests = requests ?? [];
    this.sensorNames = new Map((sensors ?? []).map(({ id, name }) => [id, name || `sensor ${id}`]));
    if (!timeline) return;
    Object.assign(this, { rows: timeline.rows, sections: timeline.sections, marks: timeline.marks,
      lanes: timeline.lanes, texts: timeline.texts });
    // Of one run there is one, without a name.
    this.sides = timeline.sides ?? [{ powered: timeline.powered, result, begin: 0, end: timeline.end }];
    this.begin = timeline.begin;
    this.end = Math.max(timeline.end, timeline.begin + 1);
    this.count = this.sections.row.length;
    this.sectionOfRequest = new Map();
    for (let i = 0; i < this.count; ++i) {
      const isOwn = this.sections.kind[i] < 2 && this.sections.depth[i] === 0;
      if (isOwn && this.sections.request[i] !== null) this.sectionOfRequest.set(this.sections.request[i], i);
    }
  }

  sensorName(id) { return this.sensorNames.get(id) ?? `sensor ${id}`; }
  label(section) { return this.texts[this.sections.label[section]]; }
  markText(mark) { return this.texts[this.marks.text[mark]]; }
  // Which of several runs a row, a lane or a request is of: an index into `sides`.
  sideOf({ side = 0 }) { return side; }
  rowName(row) {
    const { name } = this.sides[this.sideOf(this.rows[row])];
    return name ? `${name}: ${this.rows[row].name}` : this.rows[row].name;
  }
  rowOf(section) { return this.rows[this.sections.row[section]]; }
  requestOf(section) { return this.requests[this.sections.request[section]] ?? null; }
  duration(section) { return this.sections.end[section] - this.sections.begin[section]; }
  clientOf(section) { return this.requestOf(section)?.client ?? this.rowOf(section).client; }

  // The sensors that it is about; null: unknown.
  sensorsOf(section) {
    const own = this.sections.sensor[section];
    return own !== null ? [own] : this.requestOf(section)?.sensors ?? null;
  }

  clients() {
    const names = this.rows.map((row) => row.client).concat(this.requests.map((request) => request.client));
    return [...new Set(names)].filter((name) => name !== null);
  }

  isSideShown(each, { sides }) { return sides.size === 0 || sides.has(this.sideOf(each)); }

  isShown(section, filter) {
    const { clients, sensors } = filter;
    if (!this.isSideShown(this.rowOf(section), filter)) return false;
    if (clients.size > 0 && !clients.has(this.clientOf(section))) return false;
    return sensors.size === 0 || (this.sensorsOf(section) ?? []).some((sensor) => sensors.has(sensor));
  }

  isMarkShown(mark, filter) {
    const section = this.marks.section[mark];
    if (section !== null) return this.isShown(section, filter);
    if (filter.sensors.size > 0 || !this.isSideShown(this.rows[this.marks.row[mark]], filter)) return false;
    return filter.clients.size === 0 || filter.clients.has(this.rows[this.marks.row[mark]].client);
  }

  isLaneShown(lane, filter) {
    const { clients, sensors } = filter;
    if (!this.isSideShown(lane, filter)) return false;
    if (sensors.size > 0) return sensors.has(lane.sensor);
    return clients.size === 0 || this.requests.some((request) =>
      clients.has(request.client) && this.sideOf(request) === this.sideOf(lane) && (request.sensors ?? []).includes(lane.sensor));
  }

  // The section and those that hold it, the outermost first.
  way(section) {
    const way = [];
    for (let each = section; each !== null; each = this.sections.holder[each]) way.unshift(each);
    return way;
  }

  // The log lines of a section: of a request all that was logged for it, wherever.
  marksOf(section) {
    const { request, kind } = this.sections;
    const isRequest = kind[section] === 0 && request[section] !== null;
    const belongs = (mark) => {
      const at = this.marks.section[mark];
      if (at === null) return false;
      return isRequest ? request[at] === request[section] : this.way(at).includes(section);
    };
    return this.marks.time.map((_, mark) => mark).filter(belongs);
  }

  // As it is told to who cannot see it.
  sentence(section) {
    const states = ['', ', failed', ', had not ended'];
    return `${this.label(section)}, ${KINDS[this.sections.kind[section]]} of ${this.rowName(this.sections.row[section])}, `
      + `from ${this.sections.begin[section] / 1e6} ms, for ${this.duration(section) / 1e6} ms`
      + states[this.sections.state[section]];
  }
}
