// Several runs in one timeline: the rows of each under its name, all from one begin, and so on one scale.

const shifted = (list, by) => list.map((each) => (each === null ? null : each + by));
const all = (object, change) => Object.fromEntries(Object.entries(object).map(([name, list]) => [name, change(list, name)]));

function append(to, lists) {
  for (const [name, list] of Object.entries(lists)) to[name] = (to[name] ?? []).concat(list);
}

function byTime(marks) {
  const order = marks.time.map((_, mark) => mark).sort((a, b) => marks.time[a] - marks.time[b]);
  return all(marks, (list) => order.map((mark) => list[mark]));
}

// [{ name, result, timeline, chains }]: what `Model` takes of one run, with the side that each thing is of.
export function merged(sides) {
  const timeline = { begin: 0, end: 0, rows: [], sections: {}, marks: {}, lanes: [], texts: [], sides: [] };
  const requests = [], chains = [], ids = new Map();  // of sensors, by name: what has one is the same
  const idOf = (name) => ids.get(name) ?? ids.set(name, ids.size).get(name);
  sides.forEach(({ name, result, timeline: own, chains: ownChains }, side) => {
    const names = new Map(result.sensors.map((sensor) => [sensor.id, sensor.name || `sensor ${sensor.id}`]));
    const sensor = (id) => (id === null ? null : idOf(names.get(id) ?? `sensor ${id}`));
    const withSensor = (each) => ({ ...each, sensor: sensor(each.sensor) });
    const bases = { row: timeline.rows.length, holder: timeline.sections.row?.length ?? 0, begin: -own.begin, end: -own.begin,
      label: timeline.texts.length, text: timeline.texts.length, clients: timeline.texts.length, request: requests.length,
      time: -own.begin };
    bases.section = bases.holder;
    const moved = (list, member) => (member === 'sensor' ? list.map(sensor) : member in bases ? shifted(list, bases[member]) : list);
    append(timeline.sections, all(own.sections, moved));
    append(timeline.marks, all(own.marks, moved));
    timeline.rows.push(...own.rows.map((row) => ({ ...withSensor(row), side, processor: row.processor && all(row.processor, moved) })));
    timeline.lanes.push(...own.lanes.map((lane) => ({ ...withSensor(lane), side, parts: all(lane.parts, moved) })));
    timeline.texts.push(...own.texts);
    timeline.end = Math.max(timeline.end, own.end - own.begin);
    timeline.sides.push({ name, begin: own.begin, end: own.end - own.begin,
      powered: { time: shifted(own.powered.time, -own.begin), sensors: own.powered.sensors },
      result: { ...result, caller_faults: result.caller_faults.map(withSensor) } });
    requests.push(...result.requests.map((request) => ({ ...request, side, sensors: request.sensors && request.sensors.map(sensor),
      failed_sensors: request.failed_sensors.map(sensor), refusals: request.refusals.map(withSensor) })));
    chains.push(...ownChains);
  });
  timeline.marks = byTime(timeline.marks);
  return { timeline, requests, chains, sensors: [...ids].map(([name, id]) => ({ id, name })) };
}
