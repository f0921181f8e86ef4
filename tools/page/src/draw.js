// Draws the timeline into a canvas: what stands between two times and two heights, and nothing else. Bars narrower than
// a pixel that have such neighbours become one: a step costs what is seen, not what there is.
import { BAR, MARKS } from './layout.js';
import { FAILED, OPEN, firstAtLeast } from './model.js';
import { tickText } from './text.js';

export const AXIS = 24;
const LABEL = '11px ui-monospace, SFMono-Regular, Menlo, Consolas, "DejaVu Sans Mono", monospace';
const CHARACTER = 6.7;
const LOOKS = ['request', 'wait', 'trace', 'call'];

// What a frame is drawn from: { context, width, height, scroll, scale, paint, model, layout, state }.
export function draw(frame) {
  const { context, width, height, paint, layout, scroll } = frame;
  context.fillStyle = paint.ground;
  context.fillRect(0, 0, width, height);
  context.save();
  context.beginPath();
  context.rect(0, AXIS, width, height - AXIS);
  context.clip();
  layout.blocks.forEach((block, number) => {
    const top = AXIS + block.top - scroll;
    if (top > height || top + block.height < AXIS) return;
    if (number % 2 === 1) {
      context.fillStyle = paint.band;
      context.fillRect(0, top, width, block.height);
    }
  });
  drawGrid(frame);
  for (const block of layout.blocks) {
    const top = AXIS + block.top - scroll;
    if (top > height || top + block.height < AXIS) continue;
    if (block.kind === 'side') drawSide(frame, block, top);
    else if (block.kind === 'lane') drawLane(frame, block, top);
    else if (block.kind === 'powered') drawPowered(frame, block, top);
    else drawRow(frame, block, top);
  }
  drawSelectedTime(frame);
  context.restore();
  drawAxis(frame);
}

const ticksOf = ({ scale, width }) => scale.ticks(Math.max(2, Math.floor(width / 110)));

function drawGrid(frame) {
  const { context, paint, scale, height } = frame;
  context.fillStyle = paint.line;
  for (const time of ticksOf(frame)) context.fillRect(Math.round(scale(time)), AXIS, 1, height);
}

function drawAxis(frame) {
  const { context, paint, scale, width } = frame;
  const ticks = ticksOf(frame);
  const step = ticks.length > 1 ? ticks[1] - ticks[0] : 1;
  context.fillStyle = paint.muted;
  context.font = LABEL;
  context.textBaseline = 'middle';
  for (const time of ticks) {
    const text = tickText(time, step), room = text.length * CHARACTER;
    const x = Math.min(Math.max(scale(time) - room / 2, 2), width - room - 2);
    context.fillText(text, x, AXIS / 2);
  }
  context.fillStyle = paint.line;
  context.fillRect(0, AXIS - 1, width, 1);
  drawLogRange(frame);
}

// Which part of the time the log beneath shows.
function drawLogRange({ context, paint, scale, logRange }) {
  if (!logRange) return;
  const x = scale(logRange[0]);
  context.fillStyle = paint.accent;
  context.fillRect(x, AXIS - 4, Math.max(2, scale(logRange[1]) - x), 3);
}

// Calls `paintOne(index, x, width)` for what of a list by time is seen. Of those that share a pixel the first stands
// for all that matter no more than it.
function eachSeen({ scale, width }, begins, ends, paintOne, matters) {
  const [from, to] = scale.domain(), pixels = width / (to - from);
  const covered = [-1, -1];
  for (let i = firstAtLeast(ends, from); i < begins.length && begins[i] <= to; ++i) {
    const x = Math.max((begins[i] - from) * pixels, -2), end = Math.min((ends[i] - from) * pixels, width + 2);
    const rank = matters(i) ? 1 : 0;
    if (end - x < 1 && end <= covered[rank]) continue;
    covered[rank] = Math.floor(x) + 1;
    paintOne(i, x, Math.max(end - x, 1));
  }
}

function label({ context, paint }, text, x, width, middle) {
  const left = Math.max(x, 0) + 4, room = Math.floor((x + width - left - 3) / CHARACTER);
  if (room < 3) return;
  context.fillStyle = paint.ink;
  context.font = LABEL;
  context.textBaseline = 'middle';
  context.fillText(text.length > room ? `${text.slice(0, room - 1)}…` : text, left, middle);
}

// Bars too narrow for an edge: neighbours that look alike are one rectangle.
class Slivers {
  constructor(context) {
    this.context = context;
    this.run = null;
  }

  add(colour, alpha, x, top, width, height) {
    const { run } = this;
    if (run?.colour === colour && run.alpha === alpha && x <= run.end + 0.5) {
      run.end = Math.max(run.end, x + width);
      return;
    }
    this.flush();
    this.run = { colour, alpha, x, end: x + width, top, height };
  }

  flush() {
    if (!this.run) return;
    const { colour, alpha, x, end, top, height } = this.run;
    this.context.globalAlpha = alpha;
    this.context.fillStyle = colour;
    this.context.fillRect(x, top, end - x, height);
    this.context.globalAlpha = 1;
    this.run = null;
  }
}

const isSliver = (width) => width < 3;

function bar({ context }, fill, edge, x, top, width, height) {
  context.fillStyle = fill;
  context.fillRect(x, top, width, height);
  context.strokeStyle = edge;
  context.lineWidth = 1;
  context.strokeRect(x + 0.5, top + 0.5, width - 1, height - 1);
}

function outline({ context }, colour, x, top, width, height) {
  context.strokeStyle = colour;
  context.lineWidth = 2;
  context.strokeRect(x - 0.5, top - 0.5, Math.max(width, 2) + 1, height + 1);
}

// A sign of a failure, for whom the hatching is too fine.
function cross({ context, paint }, x, middle) {
  context.fillStyle = paint.error;
  context.font = `bold ${LABEL}`;
  context.textBaseline = 'middle';
  context.fillText('✕', x + 3, middle);
}

function drawRow(frame, block, top) {
  block.levels.forEach((level, depth) => drawLevel(frame, level, top + MARKS + depth * BAR));
  if (block.processor) drawProcessor(frame, block, top + MARKS + Math.max(1, block.levels.length) * BAR);
  drawMarks(frame, block, top);
}

// When the row's thread ran, waited for a processor, or slept, which is a thin line.
function drawProcessor(frame, { processor: { begin, end, state } }, top) {
  const { context, paint } = frame, slivers = new Slivers(context);
  const looks = { running: [paint.muted, 5], asleep: [paint.line, 1] };
  eachSeen(frame, begin, end, (i, x, width) => {
    const [colour, height] = looks[state[i]] ?? [paint.warning, 5];
    slivers.add(colour, 1, x, top + 5 - height, width, height);
  }, (i) => !(state[i] in looks));
  slivers.flush();
}

function drawLevel(frame, level, top) {
  const { context, model, paint, state: { hits, selected } } = frame;
  const { kind, state: states } = model.sections;
  const height = BAR - 3, slivers = new Slivers(context), outlined = [];
  const isHit = (i) => Boolean(hits?.sections.has(level.index[i]));
  const isSelected = (i) => selected?.section === level.index[i];
  const isFailed = (i) => states[level.index[i]] === FAILED;
  eachSeen(frame, level.begin, level.end, (i, x, width) => {
    const section = level.index[i], failed = isFailed(i), look = LOOKS[kind[section]];
    const alpha = hits && !isHit(i) && !isSelected(i) ? 0.3 : 1, edge = paint[failed ? 'failed-edge' : `${look}-edge`];
    if (isHit(i) || isSelected(i)) outlined.push([isSelected(i) ? paint.accent : paint.hit, x, width]);
    if (isSliver(width)) return slivers.add(edge, alpha, x, top, width, height);
    slivers.flush();
    context.globalAlpha = alpha;
    bar(frame, failed ? paint.failing : look === 'wait' ? paint.waiting : paint[look], edge, x, top, width, height);
    const lead = failed && width > 16 ? 12 : 0;
    if (lead) cross(frame, x, top + height / 2);
    const open = states[section] === OPEN ? ' …' : '';
    if (width > 24) label(frame, model.label(section) + open, x + lead, width - lead, top + height / 2);
    context.globalAlpha = 1;
  }, (i) => isSelected(i) || isFailed(i) || isHit(i));
  slivers.flush();
  for (const [colour, x, width] of outlined) outline(frame, colour, x, top, width, height);
}

// Of marks that share a pixel the gravest is seen.
function drawMarks(frame, block, top) {
  const { context, model, paint, scale, state, width } = frame;
  const { level } = model.marks;
  const looks = { error: [paint.error, 3], warning: [paint.warning, 2] };
  const seen = new Map();
  const [from, to] = scale.domain(), pixels = width / (to - from);
  for (let i = firstAtLeast(block.times, from); i < block.times.length && block.times[i] <= to; ++i) {
    const mark = block.marks[i], x = Math.min(Math.round((block.times[i] - from) * pixels), Math.ceil(width) - 1);
    const isHit = state.hits?.marks.has(mark) || state.selected?.mark === mark;
    const [colour, weight] = isHit ? [paint.accent, 4] : looks[level[mark]] ?? [paint.gathered, 1];
    if ((seen.get(x)?.weight ?? 0) < weight) seen.set(x, { colour, weight });
  }
  for (const [x, { colour, weight }] of seen) {
    context.fillStyle = colour;
    if (weight === 1) {
      context.fillRect(x, top + 3, 1, 5);
      continue;
    }
    context.beginPath();
    context.moveTo(x - 4, top + 1);
    context.lineTo(x + 4, top + 1);
    context.lineTo(x, top + 8);
    context.fill();
  }
}

function drawLane(frame, { lane }, top) {
  const { context, paint, model } = frame;
  const { begin, end, state, clients, conflict } = lane.parts;
  const slivers = new Slivers(context);
  const isBad = (i) => conflict[i] || state[i] === 'failed';
  eachSeen(frame, begin, end, (i, x, width) => {
    if (state[i] === 'off' && !conflict[i]) return;
    const look = state[i] === 'on' ? 'on' : 'powering', edge = paint[isBad(i) ? 'failed-edge' : `${look}-edge`];
    if (isSliver(width)) return slivers.add(edge, 1, x, top + 3, width, 15);
    slivers.flush();
    bar(frame, isBad(i) ? paint.failing : paint[look], edge, x, top + 3, width, 15);
    const lead = isBad(i) && width > 16 ? 12 : 0;
    if (lead) cross(frame, x, top + 10);
    if (width > 24) label(frame, model.texts[clients[i]] || state[i], x + lead, width - lead, top + 11);
  }, isBad);
  slivers.flush();
}

// The name stands beside it.
function drawSide({ context, paint, width }, block, top) {
  context.fillStyle = paint.band;
  context.fillRect(0, top, width, block.height);
  context.fillStyle = paint.muted;
  context.fillRect(0, top, width, 1);
}

function drawPowered(frame, block, top) {
  const { context, paint, scale, width } = frame;
  const { powered: { time, sensors }, end: until } = block.side;
  const most = Math.max(1, ...sensors.map((count) => count ?? 0));
  const floor = top + block.height - 4;
  const up = (count) => floor - (count / most) * (block.height - 18);
  let covered = -1;
  for (let i = Math.max(0, firstAtLeast(time, scale.domain()[0]) - 1); i < time.length; ++i) {
    const x = Math.max(0, scale(time[i])), end = Math.min(width, scale(time[i + 1] ?? until));
    if (x > width) break;
    if (sensors[i] === null || end < covered) continue;
    covered = Math.floor(x) + 1;
    context.fillStyle = paint.powered;
    context.globalAlpha = 0.15;
    context.fillRect(x, up(sensors[i]), end - x, floor - up(sensors[i]));
    context.globalAlpha = 1;
    context.fillRect(x, up(sensors[i]) - 1, Math.max(end - x, 1), 2);
    if (end - x > 14) label(frame, String(sensors[i]).padEnd(3), x - 2, 32, up(sensors[i]) - 7);
  }
}

function drawSelectedTime({ context, model, paint, scale, state, height }) {
  const mark = state.selected?.mark;
  if (mark === undefined) return;
  context.fillStyle = paint.accent;
  context.fillRect(Math.round(scale(model.marks.time[mark])), AXIS, 1, height);
}
