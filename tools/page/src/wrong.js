// What is wrong, and what the board saw go wrong where that was to be expected.
import { button, make, part } from './dom.js';
import { counted, timeText } from './text.js';

const WEIGHTS = ['error', 'warning', 'note'];

// { weight, what, text, line, side, request, at }: `at` in ns. The gravest first. Of several runs those of the last: what
// is wrong now.
function findingsOf(model) {
  const { changes = [], findings = [], result, sides } = model.data;
  const all = [...changes, ...findings].map((each) => ({ ...each }));
  if (sides) all.push(...ofRun(model, model.sides.length - 1));
  else if (result) all.push(...(model.sides ? ofRun(model, 0) : ofResult(model, { result, begin: 0 })));
  return all.sort((a, b) => WEIGHTS.indexOf(a.weight) - WEIGHTS.indexOf(b.weight));
}

const ofRun = (model, number) => ofResult(model, model.sides[number], number);

function ofResult(model, { result, name: side, begin, end }, number = 0) {
  const findings = [];
  const add = (finding) => findings.push({ side, ...finding });
  const ns = (ms) => (ms === null ? undefined : Math.round(ms * 1e6) - begin);
  const requestAt = (line, client) => model.requests.findIndex((request) =>
    request.line === line && request.client === client && model.sideOf(request) === number);
  if (result.cut_off) add({ weight: 'error', what: 'cut off', text: `the run ${result.cut_off}`, at: end });
  for (const { thread, in: sections, waits } of result.pending) {
    const inner = sections.at(-1);
    const text = waits?.text ?? (inner ? `${thread} in ${inner.label} for ${timeText(inner.for_ms * 1e6)}` : thread);
    add({ weight: 'error', what: 'had not ended', text });
  }
  for (const { line, client, request, reached, reason } of result.unmet) {
    add({ weight: 'error', what: reached ? 'expectation' : 'not reached', line, request: requestAt(line, client),
      text: `${client}, ${request}: ${reason}` });
  }
  for (const { rule, warning, line, client, at_ms: at, reason } of result.broken_rules) {
    add({ weight: warning ? 'warning' : 'error', what: rule, line, at: ns(at), text: client ? `${client}: ${reason}` : reason });
  }
  for (const { sensor, at_ms: at, fault } of result.caller_faults) {
    add({ weight: 'error', what: 'fault of a caller', at: ns(at),
      text: sensor === null ? fault : `${model.sensorName(sensor)}: ${fault}` });
  }
  return findings.concat(seenFailuresOf(model, side, number));
}

function seenFailuresOf(model, side, number) {
  return model.requests.flatMap((each, index) => {
    if (model.sideOf(each) !== number) return [];
    const { line, client, request, failed_sensors: failed, refusals } = each;
    const texts = [...failed.map((id) => `${model.sensorName(id)} did not come up`),
      ...refusals.map(({ sensor, service, call, status }) =>
        `${service} of ${model.sensorName(sensor)} answered its ${call} with ${status}`)];
    return texts.map((text) => ({ weight: 'note', what: 'failure', side, text: `${client}, ${request}: ${text}`, line, request: index }));
  });
}

function verdictOf(result, findings) {
  const { verdict, expectations, unmet } = result;
  const rules = result.broken_rules.length === 0 ? 'no rule is broken' : `${counted(result.broken_rules.length, 'breach').replace('breachs', 'breaches')} of rules`;
  const held = expectations === 0 ? 'nothing was expected'
    : `${expectations - unmet.length} of ${counted(expectations, 'expectation')} held`;
  const isWell = verdict === 'passed' && !findings.some(({ weight }) => weight !== 'note');
  return make('p', { class: `verdict ${isWell ? 'well' : verdict === 'passed' ? 'warned' : 'bad'}` },
    make('strong', {}, isWell ? 'Nothing is wrong' : verdict), `: ${held}, ${rules}.`);
}

function verdictOfRuns({ passed, title, text }, findings) {
  const look = !passed ? 'bad' : findings.some(({ weight }) => weight === 'warning') ? 'warned' : 'well';
  return make('p', { class: `verdict ${look}` },
    make('strong', {}, title ?? (passed ? 'Nothing is wrong' : 'failed')), `: ${text}.`);
}

export function wrongOf(model, { showSection, showTime, showLine }) {
  const findings = findingsOf(model);
  const item = ({ weight, what, text, line, side, request, at }) => {
    const section = request >= 0 ? model.sectionOfRequest?.get(request) : undefined;
    const buttons = [];
    if (section !== undefined) buttons.push(button('Show it', () => showSection(section)));
    else if (at !== undefined && model.rows) buttons.push(button('Show it', () => showTime(at)));
    if (line && showLine) buttons.push(button(`Line ${line}`, () => showLine(line, side)));
    return make('li', { class: weight }, make('span', { class: 'badge' }, what), make('span', { class: 'text' }, side ? `${side}: ${text}` : text), ...buttons);
  };
  const grave = findings.filter(({ weight }) => weight !== 'note'), notes = findings.filter(({ weight }) => weight === 'note');
  const { result, verdict } = model.data;
  if (!result && !verdict && findings.length === 0) return null;
  return part('wrong', 'What is wrong', result ? verdictOf(result, findings) : verdict ? verdictOfRuns(verdict, findings) : null,
    grave.length ? make('ul', { class: 'findings' }, grave.map(item)) : null,
    notes.length ? make('details', { open: notes.length <= 5 },
      make('summary', {}, `${counted(notes.length, 'failure')} seen that nothing forbids`),
      make('ul', { class: 'findings' }, notes.slice(0, 200).map(item))) : null);
}
