// What the parts of the page share, and how one hears of what another has changed.
//
//   view       the time that the timeline shows: [from, to]
//   selected   { section } or { mark }: an index into the model's lists; null
//   sides, clients, sensors   that are shown; an empty set is all
//   query      what is searched for
//   hits       { sections, marks }: sets of indices that match it; null while nothing is searched for
export function createStore(initial) {
  let state = initial;
  const listeners = [];
  return {
    get: () => state,
    // Calls `listener` with the state and the names of what has changed in it.
    on: (listener) => listeners.push(listener),
    set(changes) {
      const changed = new Set(Object.keys(changes).filter((name) => changes[name] !== state[name]));
      if (changed.size === 0) return;
      state = { ...state, ...changes };
      for (const listener of listeners) listener(state, changed);
    },
  };
}
