// Makes the page that the tool writes its data into, built/page.html, of the sources in this folder and of the packages
// in package-lock.json; built/LICENCES says under which licences those stand.
//
//     node bundle.mjs FOLDER
//
// {{title}} and {{data}} stay: the tool fills them in.
import { build } from 'esbuild';
import { createHash } from 'node:crypto';
import { mkdir, readFile, writeFile } from 'node:fs/promises';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const [folder] = process.argv.slice(2);
if (!folder) {
  console.error('usage: node bundle.mjs FOLDER');
  process.exit(2);
}
const here = dirname(fileURLToPath(import.meta.url));

async function bundled(file) {
  const { outputFiles, metafile } = await build({
    entryPoints: [join(here, file)], absWorkingDir: here, bundle: true, write: false, minify: true, metafile: true,
    format: 'iife', target: ['es2022'], legalComments: 'none', outdir: 'built',
  });
  return { text: outputFiles[0].text.trim(), inputs: Object.keys(metafile.inputs) };
}

// Of the packages that a bundle holds: each name with its licence, and each licence once.
async function licencesOf(inputs) {
  const names = new Set(inputs.map((input) => input.match(/^node_modules\/([^/]+)/)?.[1]).filter(Boolean));
  const texts = new Map();
  for (const name of [...names].sort()) {
    const root = join(here, 'node_modules', name);
    const { version } = JSON.parse(await readFile(join(root, 'package.json'), 'utf8'));
    const text = (await readFile(join(root, 'LICENSE'), 'utf8')).trim();
    texts.set(text, [...(texts.get(text) ?? []), `${name} ${version}`]);
  }
  return [...texts].map(([text, packages]) => `${packages.join(', ')}\n\n${text}`).join('\n\n---\n\n');
}

const hashOf = (text) => `sha256-${createHash('sha256').update(text).digest('base64')}`;

const [script, style] = await Promise.all([bundled('src/main.js'), bundled('page.css')]);
const licences = await licencesOf([...script.inputs, ...style.inputs]);
const values = { script: script.text, style: style.text, licences,
  'script-hash': hashOf(script.text), 'style-hash': hashOf(style.text) };
const page = (await readFile(join(here, 'page.html'), 'utf8'))
  .replace(/\{\{([a-z-]+)\}\}/g, (place, name) => values[name] ?? place);
// What would end the script early, or what embeds the page in a program.
for (const forbidden of ['</script', '<!--', ')embedded"']) {
  if (script.text.includes(forbidden)) throw new Error(`the script holds ${forbidden}`);
}
await mkdir(folder, { recursive: true });
await writeFile(join(folder, 'page.html'), page);
await writeFile(join(folder, 'LICENCES'), `${licences}\n`);
console.log(`page.html: ${page.length} bytes`);
