// What the viewer's tests share: the page in a browser without a network, the command, and PNG files.
import { execFileSync, spawnSync } from 'node:child_process';
import { mkdtempSync, readFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { inflateSync } from 'node:zlib';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';
import { command, page, root } from './engine.mjs';

const viewer = pathToFileURL(page).href;

export const folder = mkdtempSync(join(tmpdir(), 'imgcnv-viewer-'));

export const run = (...words) => execFileSync(command, words, { cwd: folder, stdio: ['ignore', 'pipe', 'pipe'] });
export const errorsOf = (...words) => spawnSync(command, words, { cwd: folder, encoding: 'utf8' }).stderr;
// As a shell would take it.
export const runLine = (line) => execFileSync('/bin/sh', ['-c', line.replace(/^imgcnv /, `'${command}' `)], { cwd: folder, stdio: 'pipe' });

// The picture that a line of Python makes, as bytes.
export function runPython(line) {
  const script = `import sys, numpy, imgcnv\n${line}\nsys.stdout.buffer.write(picture.tobytes())`;
  const env = { ...process.env, PYTHONPATH: join(root, 'python'), IMGCNV_LIBRARY: join(root, 'build/release/src/libimgcnv.so'),
    IMGCNV_FRAMES_LIBRARY: join(root, 'build/release/frames/libimgcnv_frames.so') };
  return execFileSync('/usr/bin/python3', ['-c', script], { cwd: folder, env, maxBuffer: 1 << 28 });
}

// A raw frame of a sample picture, by the command.
export function pack(picture, format, name, ...options) {
  run('pack', join(root, 'samples', picture), '-f', format, '-o', name, ...options);
  return join(folder, name);
}

// 8- or 16-bit PNG of grey or RGB: { width, height, bits, pixels }.
export function readPng(bytes) {
  const data = [];
  for (let at = 8; at < bytes.length; at += 12 + bytes.readUInt32BE(at))
    if (bytes.toString('latin1', at + 4, at + 8) === 'IDAT') data.push(bytes.subarray(at + 8, at + 8 + bytes.readUInt32BE(at)));
  const [width, height, bits, type] = [bytes.readUInt32BE(16), bytes.readUInt32BE(20), bytes[24], bytes[25]];
  const step = ((type === 2 ? 3 : 1) * bits) / 8, row = width * step;
  const rows = inflateSync(Buffer.concat(data));
  const pixels = Buffer.alloc(row * height);
  for (let y = 0; y < height; ++y) {
    const filter = rows[y * (row + 1)];
    for (let x = 0; x < row; ++x) {
      const left = x < step ? 0 : pixels[y * row + x - step];
      const up = y === 0 ? 0 : pixels[(y - 1) * row + x];
      const corner = x < step || y === 0 ? 0 : pixels[(y - 1) * row + x - step];
      pixels[y * row + x] = rows[y * (row + 1) + 1 + x] + predicted(filter, left, up, corner);
    }
  }
  return { width, height, bits, pixels };
}

function predicted(filter, left, up, corner) {
  if (filter < 4) return [0, left, up, (left + up) >> 1][filter];
  const [a, b, c] = [up - corner, left - corner, left + up - 2 * corner].map(Math.abs);
  return a <= b && a <= c ? left : b <= c ? up : corner;
}

export class Viewer {
  static async launch() {
    const made = new Viewer();
    made.address = viewer;
    made.browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: ['--no-sandbox'] });
    return made;
  }

  // A page that has nothing of earlier ones; `look` as Playwright's context takes it.
  async start(fragment = '', look = {}) {
    if (this.context) await this.context.close();
    this.context = await this.browser.newContext({ offline: true, viewport: { width: 1280, height: 900 }, ...look });
    this.context.setDefaultTimeout(120000);
    this.page = await this.context.newPage();
    this.requests = [];
    this.faults = [];
    this.page.on('request', (request) => { if (!request.url().startsWith('blob:')) this.requests.push(request.url()); });
    this.page.on('pageerror', (error) => this.faults.push(error.message));
    this.page.on('console', (message) => { if (message.type() === 'error') this.faults.push(message.text()); });
    await this.page.goto(viewer + fragment);
    await this.page.waitForFunction(() => document.body.dataset.ready === 'yes');
    return this.page;
  }

  // As if somebody had typed the fragment: the page hears of it some time later.
  async set(fragment) {
    await this.page.evaluate((hash) => new Promise((resolve) => {
      addEventListener('hashchange', resolve, { once: true });
      location.hash = hash;
    }), fragment);
    await this.page.waitForFunction(() => !isPainting);
  }

  // Opens a file and waits for its first picture.
  async open(path) {
    await this.page.evaluate(() => { shownFacts = null; });
    await this.page.setInputFiles('#file', path);
    await this.page.waitForFunction(() => shownFacts !== null && !isPainting);
  }

  async settled(action) {
    const before = await this.page.evaluate(() => Number(document.body.dataset.painted || 0));
    await action();
    await this.page.waitForFunction((count) => Number(document.body.dataset.painted) > count && !isPainting, before);
  }

  async guessed() {
    await this.page.waitForFunction(() => !/Looking/.test(document.getElementById('guess-state').textContent));
    await this.page.waitForFunction(() => !isPainting);
  }

  // Milliseconds from a change of settings until the picture is drawn anew, and until it is whole.
  async reaction(changes) {
    return this.page.evaluate(async (wanted) => {
      const started = performance.now();
      const drawn = new Promise((resolve) => {
        view.show = (...picture) => {
          delete view.show;
          view.show(...picture);
          requestAnimationFrame(() => resolve(performance.now() - started));
        };
      });
      change(wanted);
      const first = await drawn;
      while (isPainting) await new Promise((resolve) => setTimeout(resolve, 1));
      return [first, performance.now() - started];
    }, changes);
  }

  async saved(button = '#save') {
    const download = this.page.waitForEvent('download');
    await this.page.click(button);
    return readPng(readFileSync(await (await download).path()));
  }
}
