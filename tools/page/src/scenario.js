// The scenario as it was written, with the numbers of its lines.
import { make, part } from './dom.js';

export function scenarioOf({ data }) {
  if (!data.scenario) return null;
  const files = data.scenario.map(({ name, text }, file) => make('details', { open: file === 0 }, make('summary', {}, name),
    make('ol', { class: 'source', tabindex: 0, 'aria-label': name },
      text.replace(/\n$/, '').split('\n').map((line, i) => make('li', file === 0 ? { id: `source-${i + 1}` } : {}, line || ' ')))));
  return part('scenario', 'Scenario', files);
}

// Brings a line of the first file into sight.
export function showLine(number) {
  const line = document.getElementById(`source-${number}`);
  if (!line) return;
  for (const other of document.querySelectorAll('.source .shown')) other.classList.remove('shown');
  line.classList.add('shown');
  line.closest('details').open = true;
  line.scrollIntoView({ block: 'center' });
}
