// The scenario as it was written, with the numbers of its lines.
import { make, part } from './dom.js';

const idOf = (line, side) => (side ? `source-${side}-${line}` : `source-${line}`);

export function scenarioOf({ data }) {
  if (!data.scenario) return null;
  const isFirst = ({ side }, file) => data.scenario.findIndex((each) => each.side === side) === file;
  const files = data.scenario.map((source, file) => make('details', { open: file === 0 }, make('summary', {}, source.name),
    make('ol', { class: 'source', tabindex: 0, 'aria-label': source.name },
      source.text.replace(/\n$/, '').split('\n').map((line, i) =>
        make('li', isFirst(source, file) ? { id: idOf(i + 1, source.side) } : {}, line || ' ')))));
  return part('scenario', 'Scenario', files);
}

// Brings a line of the first file into sight; of several runs, the first file of one.
export function showLine(number, side) {
  const line = document.getElementById(idOf(number, side));
  if (!line) return;
  for (const other of document.querySelectorAll('.source .shown')) other.classList.remove('shown');
  line.classList.add('shown');
  line.closest('details').open = true;
  line.scrollIntoView({ block: 'center' });
}
