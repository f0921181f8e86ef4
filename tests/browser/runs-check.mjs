// Opens pages of what was compared and swept, and checks what a reader relies on: what is worse stands first, two runs
// stand under each other on one scale, a filter hides one of them, a plot can be read, nothing of the data acts.
//
//     node runs-check.mjs SINGLE.html MANY.html SWEEP.html HOSTILE.html [FOLDER]
//
// of phone.toml compared with one whose main sensor is slow, of many runs of both, of a sweep of phone.toml, and of
// hostile.toml compared with itself. FOLDER takes pictures.
// The exit status is 1 when a check fails.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { check, dataOf, faults, finish, open, settle, textsOf } from './pages.mjs';

const [single, many, sweep, hostile, pictures] = process.argv.slice(2);
if (!hostile) {
  console.error('usage: node runs-check.mjs SINGLE.html MANY.html SWEEP.html HOSTILE.html [FOLDER]');
  process.exit(2);
}

const titles = (page) => textsOf(page, 'h2');

const namesOf = (page) => page.locator('.names li').evaluateAll((items) => items.map((item) => item.textContent));

// The text of what stands at a share of the time on the n-th row of this name.
async function titleAt(page, name, nth, share) {
  const row = page.locator('.names li', { hasText: new RegExp(`^${name}$`) }).nth(nth);
  await row.scrollIntoViewIfNeeded();
  const [canvas, { y }] = [await page.locator('canvas').boundingBox(), await row.boundingBox()];
  await page.mouse.move(canvas.x + share * canvas.width, y + 14);
  return page.locator('canvas').getAttribute('title');
}

const checks = [
  [single, 'what is wrong now comes first, then both timelines, the figures and the scenarios', async (page, data) => {
    assert.deepEqual(await titles(page), ['What is wrong', 'Timeline', 'Statistics', 'Scenario']);
    const findings = await textsOf(page, '#wrong > .findings .text');
    assert.match(findings[0], /^after: .*tele is off, expected on/);
    assert.ok(findings.includes('camera app: power on main tele') && findings.includes('camera app: power on tele'));
    assert.match((await textsOf(page, '.verdict'))[0], /before it passed, after it failed/);
    await page.locator('#wrong').getByRole('button', { name: /^Line/ }).first().click();
    const { line } = data.sides[1].result.unmet[0];
    assert.equal(await page.locator('.source .shown').getAttribute('id'), `source-after-${line}`);
    await page.locator('#wrong').getByRole('button', { name: 'Show it' }).first().click();
    assert.match((await textsOf(page, '.details dd'))[1], /^after: /);
  }],
  [single, 'two runs stand on one scale', async (page, data) => {
    const names = await namesOf(page);
    assert.ok(names.indexOf('before') === 0 && names.indexOf('after') > 1, names.join());
    const longest = Math.max(...data.sides.map(({ timeline: { begin, end } }) => end - begin));
    const took = data.sides.map(({ result }) => result.requests[0].wall_ms * 1e6);
    assert.ok(took[1] > took[0] * 1.2);
    const between = (took[0] + took[1]) / 2 / longest;
    assert.doesNotMatch(await titleAt(page, 'camera app', 0, between), /^power on main wide tele/);
    assert.match(await titleAt(page, 'camera app', 1, between), /^power on main wide tele.* of after: camera app/);
  }],
  [single, 'a filter hides a run, its log lines too', async (page) => {
    await page.locator('[data-filter=sides]').getByText('after').click();
    const names = await namesOf(page);
    assert.ok(names.includes('after') && !names.includes('before'), names.join());
    await settle(page);
    const who = await textsOf(page, '.log .who');
    assert.ok(who.length > 0 && who.every((name) => name.startsWith('after: ')), who.join());
    await page.keyboard.press('/');
    await page.keyboard.type('power on main wide tele');
    assert.equal((await textsOf(page, '.told'))[0], '1');
  }],
  [single, 'a run is called what it is', async (page) => {
    const heads = (await textsOf(page, 'th[scope=col]')).join();
    assert.match(heads, /took/);
    assert.doesNotMatch(heads, /median|99 %|at least/);
  }],
  [many, 'what is surely slower comes first', async (page) => {
    assert.deepEqual(await titles(page), ['What is wrong', 'Statistics', 'Scenario']);
    assert.match((await textsOf(page, '.findings .badge'))[0], /^slower$/);
    assert.match((await textsOf(page, '.findings .text'))[0], /power on main wide tele: 63\.0 instead of 48\.0 ms.*main's power-on \+15\.0/);
    assert.match((await textsOf(page, '.verdict'))[0], /1 request is surely slower/i);
    await page.getByRole('button', { name: 'change (ms)' }).click();
    await page.getByRole('button', { name: 'change (ms)' }).click();
    assert.match((await page.locator('figure').first().locator('tbody tr').first().innerText()), /\t15\.0\t15\.0\t15\.0/);
  }],
  [sweep, 'a sweep has its table, its plot, each value and the scenario', async (page, data) => {
    assert.deepEqual(await titles(page), ['What is wrong', 'Statistics', 'Scenario']);
    assert.deepEqual((await textsOf(page, 'h3')).slice(0, 2), ['What the values change', 'What requests took']);
    const values = data.plots[0].x.values.length;
    const points = await page.locator('.plot polyline').evaluateAll((lines) => lines.map((line) => line.points.length));
    assert.ok(points.length > 1 && points.every((count) => count === values), points.join());
    assert.equal((await page.locator('.legend li').count()), points.length);
  }],
  [hostile, 'nothing of the data acts', async (page) => {
    assert.equal(await page.evaluate(() => globalThis.hacked), undefined);
    assert.equal(await page.evaluate(() => document.images.length), 0);
    const names = await namesOf(page);
    assert.equal(names.filter((name) => name === '<img src=x onerror=hacked=1>').length, 2, names.join());
  }],
];

// No two labels of an axis on each other, none smaller than one can read, all within the plot.
async function labelsAreReadable(page) {
  const plot = page.locator('.plot');
  const boxes = await plot.locator('.axis').evaluateAll((axes) => axes.map((axis) =>
    [...axis.querySelectorAll('text')].map((text) => {
      const { left, right, top, bottom } = text.getBoundingClientRect();
      return { left, right, top, bottom };
    })));
  const outer = await plot.evaluate((svg) => {
    const { left, right, top, bottom } = svg.getBoundingClientRect();
    return { left, right, top, bottom };
  });
  for (const labels of boxes) {
    assert.ok(labels.length > 1, 'an axis has no labels');
    for (const [i, one] of labels.entries()) {
      assert.ok(one.bottom - one.top >= 10, `a label is ${one.bottom - one.top} pixels high`);
      assert.ok(one.left >= outer.left - 1 && one.right <= outer.right + 1, 'a label is cut');
      const apart = (other) => one.right < other.left || other.right < one.left || one.bottom <= other.top + 3 || other.bottom <= one.top + 3;
      assert.ok(labels.every((other, j) => i === j || apart(other)), 'labels stand on each other');
    }
  }
}

for (const [file, name, act] of checks) {
  const page = await open(file);
  await check(name, async () => act(page, await dataOf(page)));
  await page.close();
}
for (const [width, height] of [[1400, 1000], [420, 900]]) {
  for (const colorScheme of ['light', 'dark']) {
    for (const file of [single, many, sweep]) {
      const page = await open(file, { viewport: { width, height }, colorScheme });
      await check(`${file}: ${width} pixels, ${colorScheme}`, async () => {
        const overflow = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        assert.ok(overflow <= 0, `the page is ${overflow} pixels too wide`);
        if (file === sweep) await labelsAreReadable(page);
      });
      const name = file.replace(/.*\//, '').replace(/\.html$/, '');
      if (pictures) await page.screenshot({ path: join(pictures, `${name}-${width}-${colorScheme}.png`), fullPage: true });
      await page.close();
    }
  }
}
console.log(`${single}, ${many}, ${sweep}: ${checks.length} checks, ${faults.length} faults`);
await finish();
