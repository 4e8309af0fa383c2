import assert from 'node:assert/strict';
import { mkdirSync, openSync, ftruncateSync, closeSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { loadEngine, root, timeEngine, timeNative } from './engine.mjs';
import { errorsOf, folder, pack, readPng, run, runLine, runPython, Viewer } from './support.mjs';

const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const screenshots = join(root, 'build/web/screenshots');
const coffee = join(root, 'samples/coffee_600x400_BayerRG12Packed.raw');
let viewer;

before(async () => {
  mkdirSync(screenshots, { recursive: true });
  viewer = await Viewer.launch();
});
after(async () => {
  await viewer.browser.close();
  rmSync(folder, { recursive: true });
});

test('every format: the saved PNG has the pixels that the command makes', async () => {
  const page = await viewer.start();
  const formats = await page.evaluate(() => formats.map(({ name, depth, layout, isColor }) => ({ name, depth, layout, isColor })));
  assert.ok(formats.length > 80);
  await page.evaluate(() => { guess = () => {}; }); // which would take the time from the pictures
  for (const { name, depth, layout, isColor } of formats) {
    const options = ['-f', name, '-s', '451x300', '-m', 'adaptive'];
    const path = pack('chelsea.png', name, 'frame.dump');
    await viewer.set(`format=${name}&width=451&height=300&demosaic=2`);
    await viewer.open(path);
    run('convert', 'frame.dump', ...options, '-o', 'frame.raw');
    const { pixels } = await viewer.saved();
    assert.ok(pixels.equals(readFileSync(join(folder, 'frame.raw'))), name);
    if (layout >= 10 || depth <= 8) continue;
    run('convert', 'frame.dump', ...options, '--to', isColor ? 'rgb48' : 'raw16', '--full-scale', '-o', 'frame.raw');
    const deep = await viewer.saved('#save16');
    assert.equal(deep.bits, 16);
    assert.ok(deep.pixels.swap16().equals(readFileSync(join(folder, 'frame.raw'))), `${name}, 16 bits`);
  }
  assert.deepEqual(viewer.faults, []);
  assert.equal(viewer.requests.length, 1);
});

test('a browser that lacks something is told what the page needs, and left in peace', async () => {
  const lacking = {
    'no decompression': () => { delete window.DecompressionStream; },
    'no Workers': () => { delete window.Worker; },
    'no SIMD: the module is not valid': () => {
      const valid = Response.prototype.arrayBuffer;
      Response.prototype.arrayBuffer = async function arrayBuffer() { return (await valid.call(this)).slice(0, 1000); };
    },
  };
  for (const [name, remove] of Object.entries(lacking)) {
    const context = await viewer.browser.newContext({ offline: true });
    const page = await context.newPage();
    let workers = 0;
    page.on('worker', () => { ++workers; });
    await page.addInitScript(remove);
    await page.goto(viewer.address);
    await page.waitForSelector('#message:not([hidden])');
    await page.waitForTimeout(300);
    assert.match(await page.textContent('#message'), /^This browser cannot run the page: it needs WebAssembly with SIMD/, name);
    assert.ok(workers <= 2, `${name}: ${workers} Workers`);
    await context.close();
  }
});

// Vectors that the compiler takes apart give the right bytes, 4 to 13 times as slowly.
test('the engine has vectors in its loops: no target is many times as slow as another, or as natively', async () => {
  const engine = await loadEngine();
  const size = { width: 1280, height: 720 };
  for (const format of ['BayerRG8', 'BayerGR12p', 'YUV422Packed', 'RGB8Packed', 'Mono12Packed']) {
    const [rgba, rgb] = ['rgba32', 'rgb24'].map((kind) => timeEngine(engine, format, kind, size, 60));
    const native = timeNative(format, 'rgba32', size, 0.03);
    for (const method in rgba) {
      assert.ok(rgb[method] < 3 * rgba[method], `${format} ${method}: rgb24 ${rgb[method]} ms, rgba32 ${rgba[method]} ms`);
      assert.ok(rgba[method] < 8 * native[method], `${format} ${method}: ${rgba[method]} ms, natively ${native[method]} ms`);
    }
  }
});

test('every format in other targets and turns: the engine makes the bytes that the command makes', async () => {
  const engine = await loadEngine();
  for (const [i, { name, code }] of engine.formats().entries()) {
    const bytes = readFileSync(pack('chelsea.png', name, 'frame.dump'));
    for (const [j, [kind, method]] of [['rgba32', 'nearest'], ['rgba32', 'bilinear'], ['rgb24', 'bilinear'], ['mono8', 'nearest']].entries()) {
      const rotation = 90 * ((i + j) % 4), flip = (i + j) % 3;
      const turn = [...(rotation ? ['--rotate', String(rotation)] : []), ...(flip ? ['--flip', 'hv'[flip - 1]] : [])];
      run('convert', 'frame.dump', '-f', name, '-s', '451x300', '-m', method, '--to', kind, ...turn, '-o', 'frame.raw');
      engine.setFrame({ code, flags: 0, width: 451, height: 300, stride: 0, skip: 0, gap: 0 });
      engine.setTarget(kind, { demosaic: method === 'nearest' ? 0 : 1, rotation, flip: [0, 4, 8][flip] });
      engine.room(0, bytes.length).set(bytes);
      const made = engine.convert(1, bytes.length);
      assert.ok(readFileSync(join(folder, 'frame.raw')).equals(Buffer.from(engine.room(1, made.bytes))), [name, kind, method, ...turn].join(' '));
    }
  }
});

// Red and blue exchanged give the same numbers.
const sameButRedAndBlue = (name) => name.replace('BayerBG', 'BayerRG').replace('BayerGR', 'BayerGB').replace('BGR', 'RGB').replace('BGRa', 'RGBa');

test('guesses: ten dumps of which the name says nothing', async () => {
  const dumps = [['coffee.png', 'Mono8'], ['coffee.png', 'BayerGB8'], ['chelsea.png', 'Mono12Packed'],
    ['coffee.png', 'BayerRG10Packed'], ['coffee.png', 'BayerGR12p'], ['coffee.png', 'Mono10MIPI'],
    ['chelsea.png', 'RGB8Packed'], ['coffee.png', 'YUV422Packed'], ['coffee.png', 'BayerBG12'], ['chelsea.png', 'BayerRG8']];
  for (const [picture, format] of dumps) {
    const page = await viewer.start();
    await viewer.open(pack(picture, format, 'dump.bin'));
    await viewer.guessed();
    const found = await page.evaluate(() => [settings.format, settings.width, settings.height]);
    const size = picture === 'coffee.png' ? [600, 400] : [451, 300];
    assert.deepEqual([sameButRedAndBlue(found[0]), ...found.slice(1)], [sameButRedAndBlue(format), ...size], `${picture} as ${format}`);
    assert.equal(await page.locator('#guess-list button .title').first().textContent(), found[0]);
  }
});

test('a wrong length and an unknown format are explained in the words of the engine', async () => {
  const page = await viewer.start('#format=BayerRG12Packed&width=600&height=500');
  await viewer.open(coffee);
  const shown = (await page.textContent('#message')).split('\n');
  const said = errorsOf('convert', coffee, '-f', 'BayerRG12Packed', '-s', '600x500', '-o', 'never.png');
  assert.ok(shown.length > 0 && shown.every((line) => line !== '' && said.includes(line)), `${shown}\n${said}`);
  await page.fill('#format', 'BayerRG12Pakced');
  await page.press('#format', 'Enter');
  await page.waitForSelector('#format[aria-invalid=true]');
  assert.match(await page.textContent('#message'), /BayerRG12Pakced/);
  await page.fill('#format', 'rggb');
  await page.press('#format', 'Enter');
  await page.waitForFunction(() => settings.format === 'BayerRG8');
});

test('sliders, keys and the readout', async () => {
  const page = await viewer.start('#format=BayerRG12Packed&width=600&height=400');
  await viewer.open(coffee);
  await page.focus('#width-slider');
  await viewer.settled(() => page.keyboard.press('ArrowRight'));
  assert.equal(await page.inputValue('#width'), '601');
  await page.focus('#picture');
  await viewer.settled(() => page.keyboard.press('['));
  assert.equal(await page.inputValue('#width'), '600');
  for (const key of ['ArrowRight', 'Shift+ArrowDown', 'ArrowDown']) await page.keyboard.press(key);
  // Pixel (1, 11): its 12 bits are the low half of byte 1 and byte 2 of a group.
  const at = (11 * 600 * 3) / 2;
  const bytes = readFileSync(coffee).subarray(at, at + 3);
  const sample = (bytes[2] << 4) | (bytes[1] >> 4);
  const hex = [...bytes].map((byte) => byte.toString(16).padStart(2, '0').toUpperCase()).join(' ');
  await page.waitForFunction((text) => document.getElementById('readout').textContent.includes(text), `byte ${at}: ${hex}`);
  assert.ok((await page.textContent('#readout')).startsWith(`x 1, y 11 · sample ${sample} (blue)`));
  await page.keyboard.press('1');
  for (let i = 0; i < 4; ++i) await page.keyboard.press('+');
  await page.waitForFunction(() => document.getElementById('zoom-value').value === '1600 %');
  await viewer.settled(() => page.keyboard.press('r'));
  assert.equal(await page.inputValue('#rotation'), '90');
  assert.equal(await page.textContent('#diagram tbody tr:first-child'), '7p0.11p1.3p1.11');
});

test('a file is dropped, or pasted', async () => {
  const base64 = readFileSync(coffee).toString('base64');
  for (const [event, holder] of [['drop', 'dataTransfer'], ['paste', 'clipboardData']]) {
    const page = await viewer.start('#format=BayerRG12Packed&width=600&height=400');
    await viewer.settled(() => page.evaluate(([name, property, data]) => {
      const files = new DataTransfer();
      files.items.add(new File([Uint8Array.from(atob(data), (letter) => letter.charCodeAt(0))], 'cup.raw'));
      const Event = name === 'drop' ? DragEvent : ClipboardEvent;
      document.body.dispatchEvent(new Event(name, { [property]: files, bubbles: true, cancelable: true }));
    }, [event, holder, base64]));
    assert.equal(await page.textContent('#file-name'), 'cup.raw, 360,000 bytes', event);
    assert.equal(await page.evaluate(() => view.width), 600);
  }
});

test('the wheel changes the width, and zooms where it stands', async () => {
  const page = await viewer.start('#format=BayerRG12Packed&width=600&height=400');
  await viewer.open(coffee);
  await page.hover('#width');
  await viewer.guessed();
  await viewer.settled(() => page.mouse.wheel(0, -100)); // the field is where it was before the guesses came
  await viewer.settled(() => page.mouse.wheel(0, 100));
  for (const id of ['#width-slider', '#width'])
    for (const [turn, shift, width] of [[-100, false, 601], [100, false, 600], [-100, true, 616], [100, true, 600]]) {
      await page.hover(id);
      if (shift) await page.keyboard.down('Shift');
      await viewer.settled(() => page.mouse.wheel(0, turn));
      if (shift) await page.keyboard.up('Shift');
      assert.equal(Number(await page.inputValue('#width')), width, `${id} ${turn} ${shift}`);
    }
  // The pixel under the pointer stays there.
  await page.focus('#picture');
  for (const key of ['1', '+', '+']) await page.keyboard.press(key);
  const box = await page.locator('#picture').boundingBox();
  const [x, y] = [Math.round(box.x + box.width * 0.7), Math.round(box.y + box.height * 0.4)];
  await page.mouse.move(x, y);
  await page.waitForFunction(() => document.getElementById('readout').textContent.startsWith('x '));
  const before = await page.textContent('#readout');
  for (let i = 0; i < 4; ++i) await page.mouse.wheel(0, -100);
  await page.waitForFunction(() => document.getElementById('zoom-value').textContent === '1600 %');
  await page.mouse.move(x + 1, y);
  await page.mouse.move(x, y);
  await page.waitForFunction((text) => document.getElementById('readout').textContent === text, before);
});

test('play shows one frame after the other until it is stopped', async () => {
  const path = join(folder, 'frames.bin');
  writeFileSync(path, Buffer.concat(Array.from({ length: 5 }, (_, i) => Buffer.alloc(64 * 48, 40 * (i + 1)))));
  const page = await viewer.start('#format=Mono8&width=64&height=48');
  await page.evaluate(() => { guess = () => {}; });
  await viewer.open(path);
  await page.evaluate(() => {
    window.seen = [];
    const show = view.show.bind(view);
    view.show = (bitmap, ...rest) => {
      show(bitmap, ...rest);
      view.drawNow();
      const { canvas } = view;
      window.seen.push(canvas.getContext('2d').getImageData(canvas.width / 2 + 4, canvas.height / 2 + 4, 1, 1).data[0]);
    };
  });
  await page.click('#play');
  assert.equal(await page.textContent('#play'), 'Stop');
  await page.waitForFunction(() => window.seen.length >= 7);
  await page.click('#play');
  await page.waitForFunction(() => !isPainting);
  const seen = await page.evaluate(() => window.seen);
  assert.deepEqual(seen.slice(0, 7), [80, 120, 160, 200, 40, 80, 120]);
  await page.waitForTimeout(300);
  assert.ok((await page.evaluate(() => window.seen.length)) <= seen.length + 1);
});

test('the copied line makes the same PNG, the copied link the same page', async () => {
  const file = join(folder, "it's a dump.raw");
  const padded = Buffer.concat([Buffer.alloc(100, 7), ...Array.from({ length: 400 }, (_, y) =>
    Buffer.concat([readFileSync(coffee).subarray(y * 900, y * 900 + 900), Buffer.alloc(12)]))]);
  writeFileSync(file, Buffer.concat([padded, padded.subarray(100)]));
  const page = await viewer.start('#format=BayerRG12Packed&width=600&height=400&stride=912&skip=100&index=1&demosaic=2&rotation=90&flipHorizontal=1&flipVertical=1&gamma=1.4');
  await viewer.open(file);
  await viewer.settled(() => page.click('#auto'));
  const levels = await page.evaluate(() => settings);
  assert.ok(levels.white > levels.black && levels.blue > 1);
  const line = await page.inputValue('#line');
  runLine(line);
  const picture = await viewer.saved();
  assert.deepEqual([picture.width, picture.height], [400, 600]);
  assert.ok(picture.pixels.equals(readPng(readFileSync(join(folder, 'picture.png'))).pixels), line);
  await page.click('#copy-python');
  await page.waitForFunction(() => document.getElementById('line').value.startsWith('picture = '));
  const python = await page.inputValue('#line');
  assert.ok(picture.pixels.equals(runPython(python)), python);

  await page.waitForFunction(() => location.hash.includes('white='));
  const fragment = await page.evaluate(() => location.hash);
  await viewer.start(fragment);
  assert.match(await viewer.page.textContent('#wanted'), /it's a dump\.raw/);
  await viewer.open(file);
  assert.equal(await viewer.page.inputValue('#line'), line);
});

test('a fragment is taken though the page saves its own before it hears of it', async () => {
  const page = await viewer.start('#format=Mono8&width=100');
  await viewer.open(coffee);
  await page.evaluate(() => new Promise((resolve) => {
    addEventListener('hashchange', resolve, { once: true });
    location.hash = 'format=Mono8&width=333';
    history.replaceState(null, '', '#format=Mono8&width=100');
  }));
  assert.equal(await page.inputValue('#width'), '333');
});

test('the picture of the documentation', async () => {
  const page = await viewer.start('', { viewport: { width: 1080, height: 700 } });
  await viewer.open(coffee);
  await viewer.guessed();
  await page.waitForFunction(() => [...document.querySelectorAll('#guess-list canvas')].every((canvas) => canvas.width > 1));
  await page.screenshot({ path: join(screenshots, 'viewer.png') });
});

test('orders side by side; a click takes one', async () => {
  const page = await viewer.start('#format=BayerRG12Packed&width=600&height=400');
  await viewer.open(coffee);
  await page.check('#orders');
  await page.waitForFunction(() => [...document.querySelectorAll('#order-list canvas')].filter((canvas) => canvas.width > 1).length === 4);
  await viewer.settled(() => page.click('#order-list button:nth-child(2)'));
  assert.equal(await page.inputValue('#format'), 'BayerGB12Packed');
});

// Reading them all would take more than a slow machine's small file does.
test('3 GB open within 2 seconds, or five times what a small file takes, and 300 MB', async () => {
  const path = join(folder, 'large.raw');
  const descriptor = openSync(path, 'w');
  ftruncateSync(descriptor, 3e9);
  closeSync(descriptor);
  const page = await viewer.start();
  const opens = async (file) => {
    const started = Date.now();
    await viewer.open(file);
    return (Date.now() - started) / 1000;
  };
  const usual = await opens(coffee);
  const session = await viewer.browser.newBrowserCDPSession();
  const renderers = async () => (await session.send('SystemInfo.getProcessInfo')).processInfo.filter(({ type }) => type === 'renderer').map(({ id }) => id);
  const seconds = await opens(path);
  // Memory is watched while the bytes are looked at.
  let megabytes = 0;
  for (let i = 0; i < 20; ++i) {
    for (const id of await renderers()) {
      const [, kilobytes] = /RssAnon:\s*(\d+)/.exec(readFileSync(`/proc/${id}/status`, 'utf8'));
      megabytes = Math.max(megabytes, kilobytes / 1000);
    }
    await page.waitForTimeout(100);
  }
  console.log(`3 GB: ${seconds} s (360 kB: ${usual} s), ${Math.round(megabytes)} MB`);
  assert.ok(seconds < Math.max(2, 5 * usual) && megabytes < 300);
  assert.equal(await page.isVisible('#picture'), true);
  assert.equal(await page.textContent('#file-name'), 'large.raw, 3,000,000,000 bytes');
  rmSync(path);
});

// How long a whole picture takes in the same minute tells how fast the machine is.
test('12 megapixels react to a slider within 100 ms, or a third of what the whole picture takes, at any zoom', async () => {
  const path = join(folder, 'large_4096x3000_BayerRG12Packed.raw');
  writeFileSync(path, Buffer.alloc((4096 * 3000 * 3) / 2, readFileSync(coffee)));
  const page = await viewer.start();
  await viewer.open(path);
  await viewer.guessed();
  for (const key of ['0', '1', '-']) { // fit, 100 %, 50 %
    await page.focus('#picture');
    await page.keyboard.press(key);
    const first = [], whole = [];
    for (let i = 0; i < 9; ++i) {
      const [drawn, done] = await viewer.reaction({ gamma: 1 + i / 10 });
      first.push(Math.round(drawn));
      whole.push(Math.round(done));
    }
    for (const times of [first, whole]) times.sort((a, b) => a - b);
    console.log(`12 MP by slider at ${await page.textContent('#zoom-value')}, ms until it is drawn: ${first.join(' ')}; until it is whole: ${whole.join(' ')}`);
    assert.ok(first[4] < Math.max(100, whole[4] / 3));
    // What stays is not the preview.
    assert.deepEqual(await page.evaluate(() => [view.bitmap.width, view.bitmap.height, shownFacts.bitmap === view.bitmap]), [4096, 3000, true]);
  }
});

test('the part of a picture that is made first looks as the whole does', async () => {
  const bytes = Buffer.alloc(10e6, readFileSync(coffee));
  const cases = [['BayerRG12Packed', { demosaic: 2 }], ['BayerGR10p', { rotation: 90 }], ['BayerGB12p', { width: 2503 }], ['YUV422Packed', { rotation: 180, flipHorizontal: true }],
    ['BayerBG14MIPI', { rotation: 270, flipVertical: true, gamma: 1.5 }], ['RGB8Packed', { flipVertical: true }]];
  const path = join(folder, 'part.bin');
  writeFileSync(path, bytes);
  for (const [format, look] of cases) {
    const page = await viewer.start(`#format=${format}&width=2504&height=1301`);
    await page.evaluate(() => { guess = () => {}; });
    await viewer.open(path);
    await page.focus('#picture');
    await page.keyboard.press('1');
    const [areas, differences] = await page.evaluate(async (wanted) => {
      const areas = [], pixels = [];
      const show = view.show.bind(view);
      view.show = (bitmap, ...rest) => {
        show(bitmap, ...rest);
        view.drawNow();
        areas.push(bitmap.width * bitmap.height);
        pixels.push(view.canvas.getContext('2d').getImageData(0, 0, view.canvas.width, view.canvas.height).data);
      };
      Object.assign(view, { left: 303, top: 207 });
      change(wanted);
      while (isPainting) await new Promise((resolve) => setTimeout(resolve, 1));
      return [areas, pixels[0].filter((value, i) => value !== pixels.at(-1)[i]).length];
    }, look);
    assert.equal(areas.length, 2, format);
    assert.ok(areas[0] < areas[1] * (look.width ? 0.7 : 0.5), `${format}: ${areas}`); // of 12p whole rows
    assert.equal(differences, 0, format);
  }
});

test('previews lie as the whole pictures do', async () => {
  // A quadrant of its own brightness each, so that a wrong turn shows; odd sizes.
  const [width, height] = [2501, 1501];
  const bytes = Buffer.alloc(width * height);
  for (let y = 0; y < height; ++y)
    for (let x = 0; x < width; ++x) bytes[y * width + x] = 20 + (y > height / 2 ? 120 : 0) + (x > width / 2 ? 60 : 0);
  const path = join(folder, 'quadrants.bin');
  writeFileSync(path, bytes);
  const page = await viewer.start('#format=Mono8&width=2501&height=1501', { viewport: { width: 700, height: 600 } });
  await page.evaluate(() => { guess = () => {}; });
  await viewer.open(path);
  for (const look of [{}, { rotation: 90 }, { rotation: 180, flipHorizontal: true }, { rotation: 270, flipVertical: true }]) {
    const [small, large] = await page.evaluate(async (wanted) => {
      const corners = (bitmap) => {
        const canvas = new OffscreenCanvas(bitmap.width, bitmap.height), context = canvas.getContext('2d');
        context.drawImage(bitmap, 0, 0);
        return [[.1, .1], [.9, .1], [.1, .9], [.9, .9]].map(([x, y]) => context.getImageData(x * bitmap.width, y * bitmap.height, 1, 1).data[0]);
      };
      const seen = [];
      const show = view.show.bind(view);
      view.show = (bitmap, ...size) => {
        show(bitmap, ...size);
        seen.push([bitmap.width < Math.max(view.width, view.height) / 2, view.width, view.height, ...corners(bitmap)]);
      };
      change({ ...DEFAULTS, width: 2501, height: 1501, whole: false, ...wanted });
      while (isPainting) await new Promise((resolve) => setTimeout(resolve, 1));
      delete view.show;
      return seen;
    }, look);
    assert.deepEqual([small[0], large[0]], [true, false]);
    assert.deepEqual(small.slice(1), large.slice(1), JSON.stringify(look));
  }
});

const looks = { light: {}, dark: { colorScheme: 'dark' }, narrow: { viewport: { width: 360, height: 740 } } };
for (const [name, look] of Object.entries(looks))
  test(`${name}: no violation that axe-core finds, nothing beyond the edge`, async () => {
    const page = await viewer.start('', look);
    await page.screenshot({ path: join(screenshots, `${name}-empty.png`) });
    await viewer.open(coffee);
    await viewer.guessed();
    await page.check('#orders');
    await page.waitForFunction(() => [...document.querySelectorAll('.thumbnails canvas')].every((canvas) => canvas.width > 1));
    await page.screenshot({ path: join(screenshots, `${name}.png`), fullPage: true });
    await page.evaluate(axe);
    const { violations } = await page.evaluate(() => window.axe.run());
    assert.deepEqual(violations.map(({ id, nodes }) => [id, ...nodes.map(({ html, failureSummary }) => html.slice(0, 200) + failureSummary)]), []);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= window.innerWidth));
  });
