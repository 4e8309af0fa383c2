// The page's engine in Node.js, without a browser, and how fast it is beside a command.
import { execFileSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { join, resolve } from 'node:path';
import { gunzipSync } from 'node:zlib';

export const root = resolve(import.meta.dirname ?? new URL('.', import.meta.url).pathname, '../..');
export const command = process.env.IMGCNV ?? join(root, 'build/release/tools/imgcnv');
export const page = process.env.VIEWER ?? join(root, 'dist/viewer.html');

export async function loadEngine() {
  const [, module] = /id="engine">([^<]+)</.exec(readFileSync(page, 'utf8'));
  const Engine = new Function(readFileSync(join(root, 'web/engine.js'), 'utf8') + '\nreturn Engine;')();
  return Engine.load(gunzipSync(Buffer.from(module, 'base64')), () => 0);
}

// Milliseconds that an imgcnv command takes for a frame, by demosaicing method ('' where there is none).
export function timeNative(format, kind, { width, height }, seconds, path = command) {
  const words = ['bench', '-f', format, '-s', `${width}x${height}`, '--to', kind, '--seconds', String(seconds), '--json'];
  const { rows } = JSON.parse(execFileSync(path, words, { encoding: 'utf8' }));
  return Object.fromEntries(rows.map(({ method, frames_per_second }) => [method ?? '', 1000 / frames_per_second]));
}

// The same of the page's engine and frames of noise: medians, as the command's are.
export function timeEngine(engine, format, kind, { width, height }, milliseconds) {
  const { code, flags } = engine.findFormat(format);
  const { frameBytes } = engine.setFrame({ code, flags, width, height, stride: 0, skip: 0, gap: 0 });
  const source = engine.room(0, frameBytes);
  for (let i = 0; i < frameBytes; ++i) source[i] = Math.random() * 256;
  const isMosaic = format.startsWith('Bayer');
  const times = {};
  for (const [demosaic, method] of (isMosaic ? ['nearest', 'bilinear', 'adaptive'] : ['']).entries()) {
    engine.setTarget(kind, { demosaic });
    const all = [];
    for (const end = performance.now() + milliseconds; all.length < 3 || performance.now() < end;) {
      const start = performance.now();
      engine.convert(1, frameBytes);
      all.push(performance.now() - start);
    }
    times[method] = all.sort((a, b) => a - b)[all.length >> 1];
  }
  return times;
}
