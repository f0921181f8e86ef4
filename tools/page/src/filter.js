// The filter: which runs, clients and sensors are shown. None chosen is all.
import { make } from './dom.js';

export const changesFilter = (changed) => ['clients', 'sensors', 'sides'].some((name) => changed.has(name));

function group(store, name, title, choices) {
  const box = ([value, text]) => make('label', {},
    make('input', { type: 'checkbox', onchange: (event) => {
      const chosen = new Set(store.get()[name]);
      if (event.target.checked) chosen.add(value); else chosen.delete(value);
      store.set({ [name]: chosen });
    } }), make('span', {}, text));
  return make('fieldset', { class: 'filter', 'data-filter': name }, make('legend', {}, title), choices.map(box));
}

export function filterOf(model, store) {
  const clients = model.clients().map((name) => [name, name]);
  const ids = new Set([...model.sensorNames.keys(), ...model.lanes.map(({ sensor }) => sensor)]);
  const sensors = [...ids].map((id) => [id, model.sensorName(id)]);
  const sides = model.sides.map(({ name }, side) => [side, name]);
  return make('div', { class: 'filters' },
    sides.length > 1 ? group(store, 'sides', 'Runs', sides) : null,
    clients.length > 1 ? group(store, 'clients', 'Clients', clients) : null,
    sensors.length > 1 ? group(store, 'sensors', 'Sensors', sensors) : null);
}
