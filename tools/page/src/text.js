// Words for times and numbers. Times are nanoseconds unless a name says otherwise.

const UNITS = [[1e9, 's'], [1e6, 'ms'], [1e3, 'µs'], [1, 'ns']];

export const unitOf = (time) => UNITS.find(([one]) => Math.abs(time) >= one) ?? UNITS.at(-1);

// In the unit that suits it, to three digits: "48.1 ms".
export function timeText(time) {
  if (time === 0) return '0 ms';
  const [one, name] = unitOf(time);
  const count = time / one;
  const digits = Math.max(0, 2 - Math.floor(Math.log10(Math.abs(count))));
  return `${count.toFixed(Math.min(digits, one === 1 ? 0 : 3))} ${name}`;
}

// Of an axis whose ticks are so far apart.
export function tickText(time, step) {
  const [one, name] = unitOf(Math.max(step, 1));
  const digits = Math.max(0, -Math.floor(Math.log10(step / one) + 1e-9));
  return `${(time / one).toFixed(digits)} ${name}`;
}

export const msText = (ms) => (ms === null || ms === undefined ? '–' : ms.toFixed(ms < 10 ? 2 : 1));

export const counted = (number, what) =>
  `${number.toLocaleString('en')} ${what}${number === 1 ? '' : 's'}`;
