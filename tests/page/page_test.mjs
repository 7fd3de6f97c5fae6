// Drives a browser over the page of a folder. The environment names the program, the samples, a folder for what the test
// writes, the browser, and the folder with node_modules.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { copyFileSync, mkdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';

const { SALVOR_PROGRAM, SALVOR_SAMPLES, SALVOR_WORK, SALVOR_CHROMIUM, SALVOR_TOOLS } = process.env;
const tools = createRequire(join(SALVOR_TOOLS, 'package.json'));
const puppeteer = tools('puppeteer-core');
const accessibility = readFileSync(tools.resolve('axe-core/axe.min.js'), 'utf8');

// A loaded machine is slow; a condition that holds sooner costs nothing.
const Patience = 90000;
let browser;
before(async () => {
  rmSync(SALVOR_WORK, { recursive: true, force: true });
  mkdirSync(SALVOR_WORK, { recursive: true });
  const args = ['--no-sandbox', '--disable-dev-shm-usage', '--force-color-profile=srgb'];
  browser = await puppeteer.launch({ executablePath: SALVOR_CHROMIUM, args, timeout: Patience, protocolTimeout: Patience });
});
after(() => browser?.close());

const salvor = (...words) => execFileSync(SALVOR_PROGRAM, words, { stdio: 'pipe' });

function recoverCard() {
  copyFileSync(join(SALVOR_SAMPLES, 'card.img'), join(SALVOR_WORK, 'card.img'));
  const folder = join(SALVOR_WORK, 'card');
  salvor('recover', join(SALVOR_WORK, 'card.img'), '--out', folder, '--quiet');
  // The pictures for the documentation must not show where they were taken.
  const report = readFileSync(join(folder, 'report.jsonl'), 'utf8').replaceAll(SALVOR_WORK, '/home/kim');
  writeFileSync(join(folder, 'report.jsonl'), report);
  salvor('report', folder);
  const records = report.trim().split('\n').map((line) => JSON.parse(line));
  return { folder, files: records.filter((record) => record.record === 'file') };
}

// A folder as the program would have left it, with a report of these files.
function makeFolder(name, files, summary = { ended: 'complete', image: 'disk.img', image_size: 1 << 30, sector_size: 512 }) {
  const folder = join(SALVOR_WORK, name);
  mkdirSync(folder);
  const usual = { record: 'file', type: 'JPEG Graphics file', extension: 'jpg', types: [{ index: 42 }], size: 9000,
    reported_size: 9000, verdict: 'whole', why: 'as it should be', sha256: 'ab'.repeat(32), unreadable_bytes: 0, flags: [] };
  const lines = files.map((file, i) => ({ ...usual, start_sector: 32 * i, start_byte: 16384 * i, ...file }));
  writeFileSync(join(folder, 'report.jsonl'),
    [...lines, ...(summary ? [{ record: 'summary', unreadable: [], not_written: {}, ...summary }] : [])]
      .map((record) => JSON.stringify(record)).join('\n') + '\n');
  salvor('report', folder);
  return folder;
}

async function openPage(folder, { width = 1040, height = 720, scheme = 'light' } = {}) {
  const page = await browser.newPage();
  page.setDefaultTimeout(Patience);
  page.errors = [];
  page.on('pageerror', (error) => page.errors.push(error.message));
  page.on('dialog', (dialog) => page.errors.push(dialog.message()));
  await page.setViewport({ width, height });
  await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
  await page.goto(pathToFileURL(join(folder, 'index.html')).href, { waitUntil: 'domcontentloaded' });
  await page.waitForSelector('#map-readout:not(:empty)');
  await page.waitForFunction('map.bins || data.imageSize === 0');
  return page;
}

const counts = (page) => page.$eval('#counts', (element) => element.textContent);
const showsCount = (page, count) => page.waitForFunction((begin) => document.querySelector('#counts').textContent.startsWith(begin),
  {}, `${count} `);
const group = (page, number) => page.click(`[data-group="${number}"]`);
const closeDetails = async (page) => {
  await page.keyboard.press('Escape');
  await page.waitForFunction(() => !document.querySelector('dialog[open]') && document.activeElement.id === 'list');
};
// What a checker of accessibility finds wrong with the page as it stands.
const violations = async (page) => {
  await page.evaluate(accessibility);
  const found = await page.evaluate(() => window.axe.run());
  return found.violations.map(({ id, nodes }) => `${id}: ${nodes[0].html}`);
};
const shoot = async (page, name) => page.screenshot({ path: join(SALVOR_WORK, `page-${name}.png`) });

test('the card: gallery, filters, map, details, and how it looks', async () => {
  const { folder, files } = recoverCard();
  const page = await openPage(folder);
  await page.waitForFunction(() => [...document.querySelectorAll('.card img')].filter((one) => one.naturalWidth > 0).length >= 8);
  await shoot(page, 'gallery');

  await group(page, -1);
  assert.match(await counts(page), new RegExp(`^${files.length} files, `));
  const shows = (expected) => showsCount(page, expected.length);
  const open = files.filter((file) => file.verdict === 'open');
  assert.equal(await page.$eval('[data-verdict="1"] .count', (element) => element.textContent), String(open.length));
  await page.click('[data-verdict="1"]');
  await shows(open);
  await page.click('#clear');
  await page.type('#text', 'checksums png');
  await shows(files.filter((file) => file.extension === 'png' && file.why.includes('checksums')));
  await page.click('#clear');
  await page.click('#more');
  await page.type('#min-size', '10K');
  await page.type('#max-size', '0.5M');
  await page.keyboard.press('Tab');
  await shows(files.filter((file) => file.size >= 10240 && file.size <= 524288));
  await page.select('#sort', 'size');
  const largest = files.reduce((a, b) => (a.size > b.size ? a : b));
  assert.equal(await page.$eval('#item-0 .name', (element) => element.textContent), largest.path.split('/')[1]);
  await page.click('#clear');

  const map = await (await page.$('#map')).boundingBox();
  await page.mouse.move(map.x + map.width * 0.3, map.y + 20);
  await page.mouse.down();
  await page.mouse.move(map.x + map.width * 0.4, map.y + 20, { steps: 4 });
  await page.mouse.up();
  const [first, last] = (await counts(page)).match(/sectors ([\d,]+) to ([\d,]+)/).slice(1).map((s) => Number(s.replace(/,/g, '')));
  assert.ok(first > 1100 && last < 1750, `${first} ${last}`);
  await shows(files.filter((file) => file.start_sector <= last && file.start_sector + Math.ceil(file.size / 512) > first));
  await page.click('#clear');

  await page.focus('#list');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  const details = () => page.$eval('#details', (element) => element.textContent);
  const [, second] = [...files].sort((a, b) => b.size - a.size);
  assert.ok((await details()).includes(second.sha256) && (await details()).includes(second.why));
  await closeDetails(page);

  await page.focus('#map');
  for (const key of ['End', 'PageDown', 'Enter']) {
    await page.keyboard.press(key);
  }
  assert.match(await page.$eval('#map', (element) => element.getAttribute('aria-valuetext')), /^Sectors [\d,]+ to [\d,]+: /);
  await page.keyboard.press('Escape');
  await shows(files);
  assert.deepEqual(page.errors, []);

  const dark = await openPage(folder, { scheme: 'dark' });
  await group(dark, -1);
  await shoot(dark, 'table');
  await group(dark, 0);
  await dark.click('#item-4');
  await dark.waitForFunction(() => document.querySelector('.preview img')?.naturalWidth > 0);
  await shoot(dark, 'file');
  for (const width of [360, 2560]) {
    const one = await openPage(folder, { width, height: 800 });
    assert.ok(await one.evaluate(() => document.documentElement.scrollWidth <= window.innerWidth));
    await shoot(one, width);
    const paper = await one.pdf({ format: 'A4', preferCSSPageSize: true });
    assert.equal(Buffer.from(paper).toString('latin1').match(/\/Type \/Page\b/g).length, 1);
  }
});

test('a film opens from its picture, and filters that leave nothing can be cleared', async () => {
  const page = await openPage(join(SALVOR_WORK, 'card'));
  await page.evaluate(() => document.querySelector(`[data-group="${groupNames.indexOf('Films')}"]`).click());
  await page.waitForSelector('.film video');
  await page.click('.film video');
  await page.waitForSelector('#details[open] video[controls]');
  await closeDetails(page);
  await page.type('#text', 'no such file');
  await page.waitForSelector('#empty button');
  await page.click('#empty button');
  await page.waitForSelector('.film video');
  assert.match(await page.$eval('#lead', (element) => element.textContent), /^48 of 54 files are whole\. The size of 6 is an estimate\.$/);
  assert.deepEqual(page.errors, []);
});

test('a checker of accessibility finds nothing wrong', async () => {
  for (const scheme of ['light', 'dark']) {
    const page = await openPage(join(SALVOR_WORK, 'card'), { width: 360, scheme });
    for (const next of ['[data-group="-1"]', '#more', '#item-0']) {
      assert.deepEqual(await violations(page), []);
      await page.click(next);
    }
    assert.deepEqual(await violations(page), []);
  }
});

test('the other forms of the report count the files of the page', async () => {
  const folder = join(SALVOR_WORK, 'card');
  const page = await openPage(folder);
  await group(page, -1);
  const files = parseInt(await counts(page), 10);
  salvor('report', folder, '--format', 'csv,dfxml,bodyfile,json');
  const text = (name) => readFileSync(join(folder, name), 'utf8');
  assert.deepEqual([text('report.csv').trim().split('\n').length - 1, text('report.dfxml').match(/<fileobject/g).length,
    text('report.body').trim().split('\n').length, JSON.parse(text('report.json')).files.length], Array(4).fill(files));
});

test('names, texts and files from the medium run nothing and lead nowhere', async () => {
  const bad = `</script><script>alert(1)</script><!--<script>"'\u2028\u202e<img src=x onerror=alert(2)>{{script}}`;
  const script = '<svg xmlns="http://www.w3.org/2000/svg" onload="alert(3)"><script>alert(4)</script></svg>';
  const kinds = [['svg', 27], ['htm', 26], ['xml', 27], ['jpg', 42], ['png', 46], ['mp4', 21], ['mht', 89], ['swf', 47]];
  const bomb = { path: 'png/bomb.png', extension: 'png', types: [{ index: 46 }], details: { width: 100000, height: 100000 } };
  const listed = [
    bomb,
    ...kinds.map(([extension, index]) => ({ extension, types: [{ index }], type: bad, why: bad,
      path: `${extension}/f0000000001.${extension}`, file_system: { path: `/DCIM/${bad}` }, details: { title: bad, camera: bad } })),
    ...['javascript:alert(5)', '../../../etc/passwd', '/etc/passwd', `jpg/${'é'.repeat(127)}x`, 'jpg/a?b#c%2F.jpg', `jpg/${bad}`]
      .map((path) => ({ path })),
  ];
  const folder = makeFolder('hostile', listed);
  for (const [extension] of kinds) {
    mkdirSync(join(folder, extension), { recursive: true });
    writeFileSync(join(folder, extension, `f0000000001.${extension}`), script);
  }
  const page = await openPage(folder);
  const asked = [];
  page.on('request', (request) => asked.push(request.url()));
  await group(page, -1);
  await page.focus('#list');
  const links = [];
  for (let i = 0; i < listed.length; ++i) {
    await page.keyboard.press('Enter');
    await page.waitForSelector('#details[open] .facts');
    links.push(await page.evaluate(() => document.querySelector('#details a')?.href ?? ''));
    await closeDetails(page);
    await page.keyboard.press('ArrowDown');
  }
  assert.equal(await page.$eval('#title', (element) => element.textContent), 'disk.img');
  assert.equal(await page.$$eval('iframe, object, embed, main script', (all) => all.length), 0);
  const here = pathToFileURL(folder).href;
  assert.ok(!asked.some((url) => url.includes('bomb')));
  assert.deepEqual(links.slice(1).map((link) => link.replace(/^file:.*\/hostile\//, '').slice(0, 20)),
    ['', '', '', 'jpg/f0000000001.jpg', 'png/f0000000001.png', 'mp4/f0000000001.mp4', '', '', 'javascript%3Aalert(5', '', '',
      'jpg/%C3%A9%C3%A9%C3%', 'jpg/a%3Fb%23c%252F.j', 'jpg/%3C/script%3E%3C']);
  // The browser's own players load pictures of their own.
  const files = asked.filter((url) => !url.startsWith('data:'));
  assert.ok(files.every((url) => url.startsWith(`${here}/`) && /\/(jpg|png|mp4|javascript%3A)/.test(url)), files.join('\n'));
  // The policy holds even if something gets through.
  const refused = await page.evaluate(() => new Promise((done) => {
    const directives = new Set();
    document.addEventListener('securitypolicyviolation', (event) => {
      if (directives.add(event.effectiveDirective).size === 2) {
        done([...directives].sort());
      }
    });
    document.body.append(Object.assign(document.createElement('script'), { textContent: 'alert(6)' }));
    document.body.insertAdjacentHTML('beforeend', '<img src=x onerror="alert(7)">');
  }));
  assert.deepEqual(refused, ['script-src-attr', 'script-src-elem']);
  assert.deepEqual(page.errors, []);
});

test('a hundred thousand files: only what is on the screen exists, and every one is reached', async (context) => {
  const many = Array.from({ length: 100000 }, (_, i) => ({ path: `jpg/f${String(32 * i).padStart(10, '0')}.jpg` }));
  const folder = makeFolder('many', many);
  const begin = performance.now();
  const page = await openPage(folder);
  context.diagnostic(`first look after ${Math.round(performance.now() - begin)} ms`);
  await group(page, -1);
  const number = () => page.$$eval('#list [data-at]', (items) => items.length);
  assert.ok(await number() < 100);
  await page.focus('#list');
  await page.keyboard.press('End');
  await page.waitForSelector('#item-99999');
  assert.ok(await number() < 100);
  await page.type('#text', 'f0003199968');
  await showsCount(page, '1 of 100,000 files,');
  assert.deepEqual(page.errors, []);
});

test('the map tells zeros that were read from what is free of finds', async () => {
  const ranges = [{ first: 1 << 20, count: 1 << 19 }];
  const page = await openPage(makeFolder('zeros', [{ path: 'jpg/a.jpg', size: 1 << 28 }],
    { ended: 'complete', image: 'disk.img', image_size: 1 << 30, sector_size: 512, zeros: ranges, known_zeros: ranges }));
  assert.deepEqual(await page.$$eval('#legend li', (all) => all.map((one) => one.textContent)),
    ['whole files 25 %', 'zeros 25 %', 'free of finds 50 %']);
  assert.deepEqual(page.errors, []);
});

test('folders without files or with an unfinished report are told in words', async () => {
  const empty = await openPage(makeFolder('empty', []));
  assert.match(await empty.$eval('#notices', (element) => element.textContent), /no recovered files/);
  const cut = await openPage(makeFolder('cut', [{ path: 'jpg/f0000000000.jpg' }], null));
  assert.match(await cut.$eval('#notices', (element) => element.textContent), /was stopped before its end/);
  assert.deepEqual([...empty.errors, ...cut.errors], []);
});
