// Opens pages in headless Chromium, from the disk and without a network, and gathers what goes wrong in them. CHROMIUM names
// the browser to use.
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

export const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--host-resolver-rules=MAP * ~NOTFOUND'],
});
export const faults = [];

export async function open(file, options = {}) {
  const page = await browser.newPage({ viewport: { width: 1400, height: 1000 }, ...options });
  page.on('console', (message) => faults.push(`${file}: console: ${message.text()}`));
  page.on('pageerror', (error) => faults.push(`${file}: ${error.stack}`));
  page.on('dialog', (dialog) => faults.push(`${file}: dialog: ${dialog.message()}`));
  page.on('request', (request) => {
    if (!request.url().startsWith('file:')) faults.push(`${file}: it fetches ${request.url()}`);
  });
  await page.goto(pathToFileURL(resolve(file)).href);
  await page.locator('h1').waitFor();
  return page;
}

export const dataOf = (page) => page.evaluate(() => JSON.parse(document.getElementById('data').textContent));

// Two frames: what was asked for has been drawn.
export const settle = (page) => page.evaluate(() => new Promise((done) => {
  requestAnimationFrame(() => requestAnimationFrame(done));
}));

export const textsOf = (page, selector) => page.locator(selector).allTextContents();

export async function check(name, act) {
  try {
    await act();
  } catch (error) {
    faults.push(`${name}: ${error.message}`);
  }
}

// Whoever opened pages calls it once, in the end.
export async function finish() {
  await browser.close();
  for (const fault of faults) console.error(fault);
  process.exitCode = faults.length > 0 ? 1 : 0;
}
