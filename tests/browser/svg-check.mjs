// Renders an SVG in headless Chromium and checks what a reader of the picture relies on: it has a size, and all of its
// text lies inside it and can be told from its ground, on light and on dark pages.
//
//     node svg-check.mjs PICTURE.svg [PICTURE.png [PICTURE-dark.png]]
//
// CHROMIUM names the browser to use. The exit status is 1 when a check fails.
import { chromium } from 'playwright-core';
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

const [svg, ...pngs] = process.argv.slice(2);
if (!svg) {
  console.error('usage: node svg-check.mjs PICTURE.svg [PICTURE.png [PICTURE-dark.png]]');
  process.exit(2);
}

// In the page. Boxes are in the picture's own units; a text's box includes what its font hangs out.
function inspect() {
  const root = document.documentElement;
  const { width, height } = root.viewBox.baseVal;
  const ground = getComputedStyle(document.querySelector('.ground')).fill;
  const luminance = (colour) => {
    const parts = colour.match(/[\d.]+/g).slice(0, 3).map((part) => {
      const value = Number(part) / 255;
      return value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2];
  };
  const contrast = (a, b) => {
    const [low, high] = [luminance(a), luminance(b)].sort((x, y) => x - y);
    return (high + 0.05) / (low + 0.05);
  };
  const texts = [...document.querySelectorAll('text')];
  const outside = texts.filter((text) => {
    const box = text.getBBox();
    return box.x < 0 || box.y < 0 || box.x + box.width > width || box.y + box.height > height;
  });
  const pale = texts.filter((text) => contrast(getComputedStyle(text).fill, ground) < 4.5);
  const spilt = [...document.querySelectorAll('g > text:not(.muted)')].filter((text) => {
    const bar = text.parentElement.querySelector(':scope > rect');
    return text.getBBox().x + text.getBBox().width > bar.getBBox().x + bar.getBBox().width + 1;
  });
  const told = (list) => list.map((text) => text.textContent);
  return { width, height, texts: texts.length, bars: document.querySelectorAll('g > rect').length,
    outside: told(outside), pale: told(pale), spilt: told(spilt) };
}

const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--host-resolver-rules=MAP * ~NOTFOUND'],
});
const faults = [];
try {
  for (const [index, colorScheme] of ['light', 'dark'].entries()) {
    const page = await browser.newPage({ colorScheme, deviceScaleFactor: 2 });
    page.on('request', (request) => {
      if (!request.url().startsWith('file:')) faults.push(`it fetches ${request.url()}`);
    });
    await page.goto(pathToFileURL(resolve(svg)).href);
    const found = await page.evaluate(inspect);
    await page.setViewportSize({ width: Math.ceil(found.width), height: Math.ceil(found.height) });
    const image = await page.screenshot({ path: pngs[index] });
    const fault = (condition, text) => condition && faults.push(`${colorScheme}: ${text}`);
    fault(!(found.width > 0 && found.height > 0) || image.length === 0, 'it has no size');
    fault(found.bars === 0, 'it has no bars');
    fault(found.outside.length > 0, `text outside the picture: ${found.outside.join(', ')}`);
    fault(found.spilt.length > 0, `text wider than its bar: ${found.spilt.join(', ')}`);
    fault(found.pale.length > 0, `text that is hard to see: ${found.pale.join(', ')}`);
    if (index === 0) console.log(`${svg}: ${found.width} x ${found.height}, ${found.bars} bars, ${found.texts} texts`);
    await page.close();
  }
} finally {
  await browser.close();
}
for (const fault of faults) console.error(`${svg}: ${fault}`);
process.exitCode = faults.length > 0 ? 1 : 0;
