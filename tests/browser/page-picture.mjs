// Takes a picture of a page with the first bar that failed selected, for the documentation.
//
//     node page-picture.mjs PAGE.html PICTURE.png
//
// CHROMIUM names the browser to use.
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const [html, png] = process.argv.slice(2);
if (!png) {
  console.error('usage: node page-picture.mjs PAGE.html PICTURE.png');
  process.exit(2);
}
const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--host-resolver-rules=MAP * ~NOTFOUND'],
});
try {
  const page = await browser.newPage({ viewport: { width: 1280, height: 960 } });
  await page.goto(pathToFileURL(resolve(html)).href);
  await page.getByRole('button', { name: 'Show it' }).first().click();
  await page.evaluate(() => scrollTo(0, 0));
  await page.screenshot({ path: png });
} finally {
  await browser.close();
}
