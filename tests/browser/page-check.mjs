// Opens pages in headless Chromium, from the disk and without a network, and checks what a reader relies on: a search
// finds, a click shows the right lines, a filter hides, a zoom keeps its place, the keyboard does it all, log and
// timeline move together, nothing of the data acts, and a step of the zoom stays fluid however much there is.
//
//     node page-check.mjs PHONE.html HOSTILE.html MANY.html [FOLDER]
//
// of examples/phone.toml, hostile.toml and many-sections.toml. FOLDER takes pictures. CHROMIUM names the browser to
// use. The exit status is 1 when a check fails.
import assert from 'node:assert/strict';
import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { check, dataOf, finish, open, settle, textsOf } from './pages.mjs';

const [phone, hostile, many, pictures] = process.argv.slice(2);
if (!many) {
  console.error('usage: node page-check.mjs PHONE.html HOSTILE.html MANY.html [FOLDER]');
  process.exit(2);
}

const FLUID_MS = 50;
const AXIS = 24, MARKS = 9, BAR = 18;  // of the timeline, in pixels

// Where in the window a section's bar begins and stands, by the names beside it and the data.
async function placeOf(page, { timeline }, section, [from, to] = [timeline.begin, timeline.end]) {
  const row = timeline.rows[timeline.sections.row[section]].name;
  const name = page.locator('.names li', { hasText: new RegExp(`^${row}$`) });
  await name.scrollIntoViewIfNeeded();
  const [canvas, { y }] = [await page.locator('canvas').boundingBox(), await name.boundingBox()];
  const at = (time) => canvas.x + ((time - from) / (to - from)) * canvas.width;
  return { x: at(timeline.sections.begin[section]), end: at(timeline.sections.end[section]),
    y: y + MARKS + (timeline.sections.depth[section] + 0.4) * BAR };
}

const linesInSight = (page) => page.evaluate(() => {
  const box = document.querySelector('.log').getBoundingClientRect();
  return [...document.querySelectorAll('.log li')].filter((line) => {
    const { top, bottom } = line.getBoundingClientRect();
    return top >= box.top - 1 && bottom <= box.bottom + 1;
  }).map((line) => ({ ms: Number(line.querySelector('.time').textContent), who: line.querySelector('.who').textContent,
    text: line.querySelector('.text').textContent }));
});

// A section by its label; the n-th where there are several.
const sectionCalled = ({ timeline: { sections, texts } }, label, n = 0) =>
  sections.label.map((text, index) => [texts[text], index]).filter(([text]) => text === label)[n][1];

const checks = {
  async 'what is wrong comes first, then the timeline, the figures and the scenario'(page) {
    assert.deepEqual(await textsOf(page, 'h2'), ['What is wrong', 'Timeline', 'Statistics', 'Scenario']);
    assert.match((await textsOf(page, '.verdict'))[0], /8 of 8 expectations held, no rule is broken/);
    assert.match((await textsOf(page, '.findings'))[0], /tele did not come up/);
    await page.getByRole('button', { name: 'Line 43' }).click();
    assert.match((await textsOf(page, '.source .shown'))[0], /failed = \["tele"\]/);
  },

  async 'a search finds'(page, data) {
    await page.keyboard.press('/');
    await page.keyboard.type('TELE OFF');
    const { texts, sections } = data.timeline;
    const found = sections.label.filter((label) => texts[label] === 'tele off').length;
    assert.equal((await textsOf(page, '.told'))[0], String(found));
    await page.keyboard.press('Enter');
    assert.equal((await textsOf(page, '.told'))[0], `1 of ${found}`);
    assert.match((await textsOf(page, '.details h3'))[0], /^tele off/);
    await page.getByRole('searchbox').fill('no such thing');
    assert.equal((await textsOf(page, '.told'))[0], 'nothing found');
  },

  async 'a click on a bar shows what it is, and its log lines'(page, data) {
    const section = sectionCalled(data, 'powerOnSensor: tele');
    const { x, end, y } = await placeOf(page, data, section);
    await page.mouse.click((x + end) / 2, y);
    assert.match((await textsOf(page, '.details h3'))[0], /^powerOnSensor: tele/);
    const { marks, texts, sections } = data.timeline;
    const isInside = (each) => each !== null && (each === section || isInside(sections.holder[each]));
    const own = marks.text.filter((_, mark) => isInside(marks.section[mark])).map((text) => texts[text]);
    assert.ok(own.some((text) => text.includes('powerOn failed')));
    assert.deepEqual(await textsOf(page, '.own-lines li'), own);
    await page.locator('.own-lines button', { hasText: 'powerOn failed' }).first().click();
    assert.match((await linesInSight(page)).map(({ text }) => text).join('\n'), /powerOn failed/);
    assert.match((await textsOf(page, '.log [aria-selected=true]'))[0], /powerOn failed/);
  },

  async 'a click on a request shows the lines of its workers too'(page, data) {
    const section = sectionCalled(data, 'power on main wide tele');
    const { x, end, y } = await placeOf(page, data, section);
    await page.mouse.click((x + end) / 2, y);
    const lines = await textsOf(page, '.own-lines li');
    assert.ok(lines.some((line) => line.includes('[initSensor] sensorIndex:3 powerOn failed')), lines.join('\n'));
    assert.ok(lines.some((line) => line.includes('powerOnOps] powerOn +')));
    assert.match((await textsOf(page, '.details dl'))[0], /true, tele failed/);
  },

  async 'a click on a bar shows the chain of its request'(page, data) {
    const section = sectionCalled(data, 'powerOnSensor: main');
    const { x, end, y } = await placeOf(page, data, section);
    await page.mouse.click((x + end) / 2, y);
    const { links, text } = data.chains[data.timeline.sections.request[section]];
    assert.match(text, /^power on main wide tele 48\.0 ms: main/);
    const shown = await textsOf(page, '.chain li');
    assert.deepEqual(shown.map((each) => each.replace(/^[\d.]+ ms/, '')), links.map(({ what }) => what));
    const told = shown.map((each) => Number.parseFloat(each));
    assert.ok(Math.abs(told.reduce((sum, ms) => sum + ms, 0) - 48) < 0.5, `the links are ${told} ms`);
  },

  async 'a filter hides'(page) {
    await page.getByText('face unlock', { exact: true }).first().click();
    const names = await textsOf(page, '.names li');
    assert.ok(names.includes('face unlock') && names.includes('front worker'));
    assert.ok(!names.includes('camera app') && !names.includes('tele worker') && !names.includes('tele'), names.join());
    assert.deepEqual([...new Set((await linesInSight(page)).map(({ who }) => who))].sort(), ['face unlock', 'front worker']);
    await page.getByText('face unlock', { exact: true }).first().click();
    await page.locator('[data-filter=sensors]').getByText('wide').click();
    const lanes = (await textsOf(page, '.names li')).filter((name) => ['main', 'front', 'wide', 'tele'].includes(name));
    assert.deepEqual(lanes, ['wide']);
  },

  async 'a zoom keeps its place under the pointer'(page, data) {
    const { x, y } = await placeOf(page, data, sectionCalled(data, 'power on main tele'));
    const titleAt = async (offset) => {
      await page.mouse.move(x + offset, y);
      return page.locator('canvas').getAttribute('title');
    };
    assert.match(await titleAt(2), /^power on main tele/);
    for (let step = 0; step < 8; ++step) await page.mouse.wheel(0, -120);
    await settle(page);
    assert.match(await titleAt(4), /^power on main tele/);
    assert.doesNotMatch(await titleAt(-6), /^power on main tele/);
    await page.mouse.move(x + 300, y);
    await page.mouse.down();
    await page.mouse.move(x + 200, y, { steps: 5 });
    await page.mouse.up();
    await settle(page);
    assert.match(await titleAt(-96), /^power on main tele/);
    assert.doesNotMatch(await titleAt(-108), /^power on main tele/);
  },

  async 'the keyboard does it all'(page) {
    const detail = async () => (await textsOf(page, '.details h3'))[0];
    await page.locator('canvas').focus();
    await page.keyboard.press('ArrowDown');
    const first = await detail();
    await page.keyboard.press('ArrowDown');
    assert.notEqual(await detail(), first);
    await page.keyboard.press('ArrowUp');
    assert.equal(await detail(), first);
    await page.keyboard.press('ArrowRight');
    assert.notEqual(await detail(), first);
    await page.keyboard.press('Enter');
    await settle(page);
    const zoomed = await linesInSight(page);
    await page.keyboard.press('*');
    await page.keyboard.press('+');
    await page.keyboard.press('-');
    await page.keyboard.press('Escape');
    assert.deepEqual(await textsOf(page, '.details h3'), []);
    assert.ok(zoomed.length > 0);
    await page.locator('.log').focus();
    await page.keyboard.press('End');
    await settle(page);
    const id = await page.locator('.log').getAttribute('aria-activedescendant');
    assert.equal(await page.locator(`#${id}`).getAttribute('aria-posinset'),
      await page.locator(`#${id}`).getAttribute('aria-setsize'));
  },

  async 'log and timeline move together'(page, data) {
    const request = sectionCalled(data, 'power off main wide tele');
    await page.getByRole('table').last().getByRole('button', { name: 'power off' }).last().click();
    await page.getByRole('button', { name: 'Zoom to it' }).click();
    await settle(page);
    const { begin, end } = data.timeline.sections;
    const times = (await linesInSight(page)).map(({ ms }) => ms * 1e6);
    assert.ok(times.some((time) => time >= begin[request] && time <= end[request]), `the log is at ${times}`);
    await page.locator('.log').evaluate((log) => { log.scrollTop = 0; });
    await settle(page);
    const canvas = await page.locator('canvas').boundingBox(), name = page.locator('.names li', { hasText: /^camera app$/ });
    await name.scrollIntoViewIfNeeded();
    await page.mouse.move(canvas.x + canvas.width - 3, (await name.boundingBox()).y + MARKS + 5);
    assert.match(await page.locator('canvas').getAttribute('title'), /^power on main wide tele/);
  },

  async 'colours follow the switch'(page) {
    const ground = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    const canvas = async () => (await page.locator('canvas').screenshot()).toString('base64');
    const before = [await ground(), await canvas()];
    for (const _ of ['light', 'dark']) await page.getByRole('button', { name: /^Colours/ }).click();
    await settle(page);
    const after = [await ground(), await canvas()];
    assert.notEqual(before[0], after[0]);
    assert.notEqual(before[1], after[1]);
  },
};

// Of each turn of the wheel, in milliseconds: what the page works for it, and until its frame is there.
function zoomSteps(page) {
  return page.evaluate(async () => {
    const canvas = document.querySelector('canvas'), box = canvas.getBoundingClientRect(), steps = [];
    const frame = globalThis.requestAnimationFrame.bind(globalThis);
    let drawing = 0;
    globalThis.requestAnimationFrame = (draw) => frame((time) => {
      const began = performance.now();
      draw(time);
      drawing += performance.now() - began;
    });
    for (let step = 0; step < 60; ++step) {
      await new Promise(frame);
      const began = performance.now();
      drawing = 0;
      canvas.dispatchEvent(new WheelEvent('wheel', { deltaY: step % 30 < 15 ? -100 : 100, bubbles: true, cancelable: true,
        clientX: box.x + box.width * 0.4, clientY: box.y + 100 }));
      const taken = performance.now() - began;
      await new Promise(frame);
      steps.push({ work: taken + drawing, shown: performance.now() - began });
    }
    return steps;
  });
}

const sorted = (list) => [...list].sort((a, b) => a - b);
const spreadText = (list) => `median ${sorted(list)[list.length >> 1].toFixed(1)} ms, longest ${Math.max(...list).toFixed(1)} ms`;

// A page that holds other data.
async function openWith(data) {
  const folder = await mkdtemp(join(tmpdir(), 'zeqcam-page-')), file = join(folder, 'page.html');
  const text = await readFile(phone, 'utf8');
  const at = text.indexOf('id="data">') + 'id="data">'.length;
  await writeFile(file, text.slice(0, at) + JSON.stringify(data) + text.slice(text.indexOf('</script>', at)));
  const page = await open(file);
  await rm(folder, { recursive: true });
  return page;
}

const upTo = (count) => Array.from({ length: count }, (_, i) => i + 1);

async function figuresAreRight() {
  const page = await openWith({ title: 'two', facts: [['runs', 100]], verdict: { passed: false, text: '3 of 100 runs failed' },
    findings: [{ weight: 'error', what: '3 of 100', text: 'tele did not come up (seeds 1 2 3)' }],
    distributions: [{ title: 'Requests', sets: ['before', 'after'],
      rows: [{ name: 'power on', samples: [upTo(100).reverse(), [5, 7]], failed: [3, 0], note: '-44.50 ms' },
        { name: 'power off', samples: [[], [9]], failed: [0, 0], note: null }] }],
    plots: [{ title: 'Over a value', x: { name: 'ms', values: [30, 40, 60] },
      series: [{ name: 'power on', y: [1, 2, 4], low: [1, 1, 3], high: [2, 3, 5] }, { name: 'other', y: [1, null, 2] }] }],
    tables: [{ title: 'Table', columns: [{ name: 'what' }, { name: 'took', unit: 'ms' }], rows: [['b', 30], ['a', 4], ['c', null]] }] });
  const requests = page.locator('figure', { has: page.locator('h3', { hasText: /^Requests$/ }) });
  assert.deepEqual(await textsOf(page, 'h2'), ['What is wrong', 'Statistics']);
  assert.match((await textsOf(page, '.verdict'))[0], /3 of 100 runs failed/);
  const cells = (await requests.locator('tbody tr').allInnerTexts()).map((row) => row.split('\t').map((cell) => cell.trim()));
  assert.deepEqual(cells[0].slice(0, 8), ['power on', 'before', '100', '50.5', '90.1', '99.0', '100.0', '3']);
  assert.deepEqual(cells[1].slice(0, 6), ['after', '2', '6.00', '6.80', '6.98', '7.00']);
  assert.equal(cells[2][2], '0');
  const spreads = requests.locator('tbody svg');
  assert.deepEqual([await spreads.count(), await spreads.nth(0).locator('rect').count() > 9, await spreads.nth(1).locator('circle').count()],
    [3, true, 2]);
  const points = await page.locator('.plot polyline').evaluateAll((lines) => lines.map((line) => line.points.length));
  assert.deepEqual(points, [3, 2]);
  const column = () => page.locator('figure').last().locator('tbody td:first-child').allTextContents();
  await page.getByRole('button', { name: 'took (ms)' }).click();
  assert.deepEqual(await column(), ['a', 'b', 'c']);
  await page.getByRole('button', { name: 'what' }).click();
  await page.getByRole('button', { name: 'what' }).click();
  assert.deepEqual(await column(), ['c', 'b', 'a']);
  if (pictures) await page.screenshot({ path: join(pictures, 'page-figures.png'), fullPage: true });
  await page.close();
}

try {
  for (const [name, act] of Object.entries(checks)) {
    const page = await open(phone);
    await check(name, async () => act(page, await dataOf(page)));
    await page.close();
  }
  await check('nothing of the data acts', async () => {
    const page = await open(hostile);
    assert.equal(await page.evaluate(() => globalThis.hacked), undefined);
    assert.equal(await page.evaluate(() => document.images.length), 0);
    const names = await textsOf(page, '.names li');
    for (const name of ['<img src=x onerror=hacked=1>', '<svg onload=hacked=1>', '</script><script>hacked = 1</script>'])
      assert.ok(names.includes(name), name);
    assert.match((await textsOf(page, '.verdict'))[0], /^failed/);
    await page.close();
  });
  await check('figures are right', figuresAreRight);
  await check('a zoom is fluid', async () => {
    const page = await open(many), { timeline } = await dataOf(page);
    const steps = await zoomSteps(page), work = steps.map((step) => step.work);
    console.log(`${many}: ${timeline.sections.row.length} sections; of a step of the zoom the page works ${spreadText(work)}; `
      + `until its frame is there ${spreadText(steps.map(({ shown }) => shown))}`);
    assert.ok(timeline.sections.row.length >= 20000);
    assert.ok(work.every((ms) => ms > 0), 'a step draws nothing');
    assert.ok(sorted(work)[work.length >> 1] <= FLUID_MS, `more than ${FLUID_MS} ms`);
    await page.close();
  });
  for (const [width, height] of [[1400, 1000], [375, 800]]) {
    for (const colorScheme of ['light', 'dark']) {
      const page = await open(phone, { viewport: { width, height }, colorScheme });
      await check(`${width} pixels, ${colorScheme}`, async () => {
        const overflow = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        assert.ok(overflow <= 0, `the page is ${overflow} pixels too wide`);
      });
      if (pictures) await page.screenshot({ path: join(pictures, `page-${width}-${colorScheme}.png`) });
      await page.close();
    }
  }
} finally {
  console.log(`${phone}: ${Object.keys(checks).length} checks`);
  await finish();
}
