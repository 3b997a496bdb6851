// The listening page in Debian's chromium, headless, driven by
// playwright-core: it loads without a console error, lists the voices,
// speaking plays audio whose time advances, the highlight reaches the second
// sentence when the audio does, and a markup error shows its message.
//   node page_test.js PAGE_URL PLAYWRIGHT_FOLDER OUTPUT_FOLDER
// Screenshots go to OUTPUT_FOLDER.  Exits 1 on the first failed check.
'use strict';

const fs = require('fs');
const os = require('os');
const path = require('path');

const [url, modules, out] = process.argv.slice(2);
const { chromium } = require(path.join(modules, 'node_modules', 'playwright-core'));

function check(ok, what) {
  if (!ok) throw new Error(`failed: ${what}`);
  console.log(`ok: ${what}`);
}

async function main() {
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'tavn-chromium-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: '/usr/bin/chromium',
    headless: true,
    args: ['--no-sandbox', '--disable-gpu', '--disable-background-networking', '--disable-component-update',
      '--disable-sync', '--no-first-run', '--autoplay-policy=user-gesture-required'],
    viewport: { width: 390, height: 844 },  // a phone
    timeout: 30000,
  });
  try {
    const page = context.pages()[0] || await context.newPage();
    page.setDefaultTimeout(10000);
    const problems = [];
    page.on('console', (m) => { if (m.type() === 'error') problems.push(m.text()); });
    page.on('pageerror', (e) => problems.push(String(e)));

    await page.goto(url, { waitUntil: 'load' });
    await page.waitForFunction(() => document.querySelectorAll('#voice option').length > 1);
    const voices = await page.$$eval('#voice option', (o) => o.map((x) => x.value));
    const installed = await (await page.request.get(new URL('/v1/voices', url).href)).json();
    check(voices.length === installed.voices.length && ['en', 'flite:slt'].every((v) => voices.includes(v)),
      `the ${installed.voices.length} installed voices are listed, en and flite:slt among them`);
    check(await page.$eval('#voice', (s) => s.value) === 'en', 'the voice "en" is chosen');
    check(problems.length === 0, `the page loads with no console error ${JSON.stringify(problems)}`);

    // Speak from the keyboard: Ctrl+Enter in the text box.
    await page.fill('#text', 'This is the first sentence. Here comes the second one.');
    await page.focus('#text');
    const answer = page.waitForResponse((r) => r.url().endsWith('/v1/speak'));
    await page.keyboard.press('Control+Enter');
    const marks = (await (await answer).json()).marks.filter((m) => m.type === 'sentence');
    check(marks.length === 2 && marks[1].time > 1000, `the server marks two sentences (${JSON.stringify(marks)})`);
    const secondMs = marks[1].time;
    await page.waitForFunction(() => document.getElementById('player').currentTime > 0.2);
    const t1 = await page.$eval('#player', (a) => a.currentTime);
    check(await page.$eval('.sentence.current', (s) => s.textContent) === 'This is the first sentence.',
      'the first sentence is lit while it plays');
    await page.waitForTimeout(400);
    const t2 = await page.$eval('#player', (a) => a.currentTime);
    check(t2 > t1 + 0.2, `the audio's time advances (${t1.toFixed(2)} s, then ${t2.toFixed(2)} s)`);

    // The audio's time when the highlight is first seen on the second sentence.
    const seen = await page.waitForFunction(() => {
      const lit = document.querySelector('.sentence.current');
      return lit && lit.textContent.startsWith('Here comes') && document.getElementById('player').currentTime * 1000;
    });
    const at = await seen.jsonValue();
    check(at >= secondMs - 50 && at < secondMs + 400,
      `the highlight moves to the second sentence in time (at ${at.toFixed(0)} ms, due at ${secondMs})`);
    check(await page.$$eval('.sentence.current', (s) => s.length) === 1, 'one sentence is lit at a time');
    await page.screenshot({ path: path.join(out, 'page.png'), fullPage: true });
    check(problems.length === 0, `speaking logs no console error ${JSON.stringify(problems)}`);

    // Malformed markup: the server's message is shown (the browser logs the 400 itself).
    await page.fill('#text', '<speak>Hello <emphasis>there</speak>');
    await page.click('#speak');
    await page.waitForSelector('#error:not([hidden])');
    const message = await page.textContent('#error');
    check(/mismatched tag/.test(message) && /\(text\)/.test(message), `a markup error shows its message: "${message}"`);
    check(await page.$eval('#player', (a) => a.paused) && await page.$$eval('.sentence', (s) => s.length) === 0,
      'the earlier audio stops and its sentences are cleared');
    await page.screenshot({ path: path.join(out, 'page-error.png'), fullPage: true });
    const others = problems.filter((p) => !/status of 400/.test(p));
    check(others.length === 0, `no other console error ${JSON.stringify(others)}`);

    await page.setViewportSize({ width: 1100, height: 900 });
    await page.screenshot({ path: path.join(out, 'page-wide.png'), fullPage: true });
  } finally {
    await context.close();
    fs.rmSync(profile, { recursive: true, force: true });
  }
}

main().catch((e) => {
  console.error(e.message || e);
  process.exit(1);
});
