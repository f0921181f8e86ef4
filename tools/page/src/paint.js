// The colours of the style sheet and the patterns made of them, as a canvas takes them.

const NAMES = ['ink', 'muted', 'ground', 'band', 'line', 'request', 'request-edge', 'wait', 'wait-edge', 'trace',
  'trace-edge', 'call', 'call-edge', 'powering', 'powering-edge', 'on', 'on-edge', 'failed', 'failed-edge', 'error',
  'warning', 'powered', 'accent', 'hit', 'gathered'];

// What must not depend on colour alone: a failure is hatched, a wait is dotted.
function hatched(paper, stroke) {
  const tile = new OffscreenCanvas(8, 8), context = tile.getContext('2d');
  context.fillStyle = paper;
  context.fillRect(0, 0, 8, 8);
  context.strokeStyle = stroke;
  context.lineWidth = 2;
  for (const x of [-8, 0, 8]) {
    context.moveTo(x, 8);
    context.lineTo(x + 8, 0);
  }
  context.stroke();
  return context.createPattern(tile, 'repeat');
}

function dotted(paper, dot) {
  const tile = new OffscreenCanvas(6, 6), context = tile.getContext('2d');
  context.fillStyle = paper;
  context.fillRect(0, 0, 6, 6);
  context.fillStyle = dot;
  context.fillRect(2, 2, 1.6, 1.6);
  return context.createPattern(tile, 'repeat');
}

export function readPaint() {
  const probe = document.createElement('i');
  document.body.append(probe);
  const paint = {};
  for (const name of NAMES) {
    probe.style.color = `var(--${name})`;
    paint[name] = getComputedStyle(probe).color;
  }
  probe.remove();
  paint.failing = hatched(paint.failed, paint['failed-edge']);
  paint.waiting = dotted(paint.wait, paint['wait-edge']);
  return paint;
}
