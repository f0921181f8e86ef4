// Opens a trace in speedscope, in headless Chromium, and checks that the viewer finds what the file holds: the threads
// that have slices, by name, and in each of them its slices, without a word about any that do not nest. Holds the file
// to what viewers ask of arrows: each has both ends, and each end lies in a slice of its thread.
//
//     node trace-check.mjs TRACE.json [PICTURE.png]
//
// CHROMIUM names the browser to use. The exit status is 1 when a check fails.
import { chromium } from 'playwright-core';
import { createServer } from 'node:http';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { basename, dirname, extname, join } from 'node:path';

const [trace, png] = process.argv.slice(2);
if (!trace) {
  console.error('usage: node trace-check.mjs TRACE.json [PICTURE.png]');
  process.exit(2);
}

// The slices of each thread that has any, by the thread's name. The viewer's names hold a slice's values.
function slicesOf({ traceEvents }) {
  const names = new Map(traceEvents.filter((event) => event.name === 'thread_name')
    .map((event) => [event.tid, event.args.name]));
  const threads = new Map();
  for (const { ph, tid, name, args } of traceEvents) {
    if (ph !== 'B') continue;
    const thread = names.get(tid);
    const slices = threads.get(thread) ?? new Set();
    threads.set(thread, slices.add(args ? `${name} ${JSON.stringify(args)}` : name));
  }
  return threads;
}

// What is wrong with the arrows.
function brokenArrows({ traceEvents }) {
  const slices = new Map();
  const open = new Map();
  for (const { ph, tid, ts } of traceEvents) {
    if (ph === 'B') open.set(tid, [...(open.get(tid) ?? []), ts]);
    if (ph === 'E') slices.set(tid, [...(slices.get(tid) ?? []), [open.get(tid).pop(), ts]]);
  }
  const ends = new Map();
  const broken = [];
  for (const { ph, id, tid, ts } of traceEvents) {
    if (ph !== 's' && ph !== 'f') continue;
    ends.set(id, (ends.get(id) ?? '') + ph);
    if (!(slices.get(tid) ?? []).some(([begin, end]) => begin <= ts && ts <= end)) broken.push(`arrow ${id}: outside`);
  }
  for (const [id, each] of ends) if (each !== 'sf') broken.push(`arrow ${id}: has the ends ${each}`);
  return { arrows: ends.size, broken };
}

const viewer = join(dirname(createRequire(import.meta.url).resolve('speedscope/package.json')), 'dist/release');
const types = { '.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css', '.json': 'application/json' };
const text = await readFile(trace, 'utf8');
const server = createServer(async (request, response) => {
  const path = new URL(request.url, 'http://localhost').pathname;
  try {
    const body = path === '/trace.json' ? text : await readFile(join(viewer, basename(path) || 'index.html'));
    response.writeHead(200, { 'Content-Type': types[extname(path) || '.html'] ?? 'application/octet-stream' });
    response.end(body);
  } catch {
    response.writeHead(404).end();
  }
});
await new Promise((ready) => server.listen(0, '127.0.0.1', ready));
const site = `http://127.0.0.1:${server.address().port}`;

const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE localhost , EXCLUDE 127.0.0.1'],
});
const faults = [];
const sameAs = (found, expected, what) => {
  const [one, other] = [found, expected].map((each) => [...each].sort().join('; '));
  if (one !== other) faults.push(`${what}: the viewer has ${one || 'none'}, the file ${other}`);
};
try {
  // Tall enough for all rows of a table: those out of sight are not in the page.
  const page = await browser.newPage({ viewport: { width: 1400, height: 4000 } });
  page.on('console', (message) => {
    const text = message.text();
    if (['warning', 'error'].includes(message.type()) && !text.includes('GL Driver')) faults.push(text);
  });
  page.on('pageerror', (error) => faults.push(error.message));
  await page.goto(`${site}/index.html#profileURL=${encodeURIComponent(`${site}/trace.json`)}`);
  await page.getByText(/\(1\/\d+\)/).waitFor();

  const cells = (table) => page.locator(table).evaluateAll((found) => found.map((cell) => cell.textContent));
  const threadOf = (title) => title.match(/, (.*) \(tid \d+\)/)?.[1] ?? title;
  const slices = slicesOf(JSON.parse(text));
  await page.keyboard.press('t');
  await page.locator('tr[title]').first().waitFor();
  const threads = (await cells('tr[title] td:nth-child(2)')).map(threadOf);
  sameAs(threads, slices.keys(), 'threads');
  await page.keyboard.press('Escape');

  if (png) await page.screenshot({ path: png, clip: { x: 0, y: 0, width: 1400, height: 500 } });
  await page.keyboard.press('3');
  let count = 0;
  for (const [index, thread] of threads.entries()) {
    await page.getByText(`(${index + 1}/${threads.length})`).waitFor();
    await page.getByText('Symbol Name').waitFor();
    const found = await cells('tr:not([title]) > td:nth-child(3)');
    sameAs(found, slices.get(thread) ?? [], thread);
    count += found.length;
    await page.keyboard.press('n');
  }
  const { arrows, broken } = brokenArrows(JSON.parse(text));
  faults.push(...broken);
  if (arrows === 0) faults.push('no arrow leads from a request to its work');
  console.log(`${trace}: ${threads.length} threads, ${count} different slices, ${arrows} arrows`);
} finally {
  await browser.close();
  server.close();
}
for (const fault of faults) console.error(`${trace}: ${fault}`);
process.exitCode = faults.length > 0 ? 1 : 0;
