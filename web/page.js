// The page: what is set, what is asked of the Workers, and what is shown.
'use strict';

const MOST_PIXELS_AT_FIRST = 8e6;
const THUMBNAIL = 160;
const PREVIEW_FROM = 3e6;   // pixels, which take about 50 ms
const REST = 250;           // ms without a change, after which a large picture is made whole
const NUMBERS = ['width', 'height', 'stride', 'skip', 'gap', 'index', ...LEVELS];
const CHECKS = ['whole', 'bigEndian', 'videoRange', 'flipHorizontal', 'flipVertical'];
const CHOICES = ['demosaic', 'rotation'];
const SLIDERS = { 'width-slider': 'width', 'index-slider': 'index', 'gamma-slider': 'gamma' };

let settings = { ...DEFAULTS };
let file = null, formats = [], format = null, diagrams = {};
let shownFacts = null;
let isTouched = false; // by somebody: then guesses are offered, not taken

// ---- Workers ---------------------------------------------------------------------------------

class EngineWorker {
  constructor() { this.start(); }

  start() {
    this.waiting = new Map();
    this.isStarted = false;
    this.worker = new Worker(EngineWorker.url);
    this.worker.onmessage = ({ data }) => this.answer(data);
    this.worker.onerror = (event) => showMessage(event.message, true);
    this.ready = this.ask('start', { module: EngineWorker.module }).then((answer) => {
      this.isStarted = true;
      return answer;
    });
  }

  answer({ id, result, error, isFatal }) {
    const { resolve, reject } = this.waiting.get(id);
    this.waiting.delete(id);
    if (!error) return resolve(result);
    // What is not a refusal is the end of the module: the memory of the page is used up. (A module
    // that never began would not begin the next time.)
    if (!isFatal || !this.isStarted) return reject(new Error(error));
    this.restart();
    return reject(new Error(`The engine stopped (${error}). It was started again; try less at once.`));
  }

  ask(task, message = {}) {
    const id = ++EngineWorker.count;
    return new Promise((resolve, reject) => {
      this.waiting.set(id, { resolve, reject });
      this.worker.postMessage({ ...message, id, task });
    });
  }

  // Ends what is under way.
  restart() {
    this.worker.terminate();
    this.start();
    if (file) this.ask('open', { file });
  }
}
EngineWorker.count = 0;

async function prepareWorkers() {
  const text = atob(byId('engine').textContent.trim());
  const compressed = new Blob([Uint8Array.from(text, (letter) => letter.charCodeAt(0))]);
  EngineWorker.module = await new Response(compressed.stream().pipeThrough(new DecompressionStream('gzip'))).arrayBuffer();
  EngineWorker.url = URL.createObjectURL(new Blob([byId('worker').textContent], { type: 'text/javascript' }));
}

let painter, helper;

// ---- Controls --------------------------------------------------------------------------------

function showSettings() {
  const put = (input, value) => { if (document.activeElement !== input || Number(input.value) !== value) input.value = value; };
  for (const name of NUMBERS) put(byId(name), settings[name]);
  for (const name of CHECKS) byId(name).checked = settings[name];
  for (const name of CHOICES) byId(name).value = settings[name];
  byId('width-slider').max = Math.max(4096, settings.width);
  for (const [id, name] of Object.entries(SLIDERS)) byId(id).value = settings[name];
  if (document.activeElement !== byId('format')) byId('format').value = settings.format;
  byId('height').disabled = settings.whole;
  const isMosaic = format.order !== 0;
  byId('demosaic').disabled = byId('orders').disabled = !isMosaic;
  byId('format-text').textContent = format.layoutText;
  byId('save16').disabled = !file || format.layout >= 10 || (format.depth <= 8);
}

function formatNamed(name) { return formats.find((one) => one.name === name); }

// Changes settings as somebody wishes them.
function change(changes) {
  isTouched = true;
  apply(changes);
}

function apply(changes) {
  settings = { ...settings, ...changes };
  if (formatNamed(settings.format)) format = formatNamed(settings.format);
  showSettings();
  update();
}

async function changeFormat(name) {
  try {
    const { code, flags } = await painter.ask('findFormat', { name });
    const found = formats.find((one) => one.code === code);
    change({ format: found.name, bigEndian: (flags & 1) !== 0, videoRange: (flags & 2) !== 0 });
    byId('format').setAttribute('aria-invalid', 'false');
  } catch (error) {
    byId('format').setAttribute('aria-invalid', 'true');
    showMessage(error.message, true);
  }
}

function showMessage(text, isError = false) {
  const box = byId('message');
  box.hidden = !text;
  box.textContent = text;
  box.classList.toggle('error', isError);
}

// ---- The picture -----------------------------------------------------------------------------

let isPainting = false, isStale = false;

// Asks for the picture of the settings; while one is made, only the last wish is kept.
async function update() {
  saveFragment();
  if (!file) return;
  isStale = true;
  if (isPainting) return;
  isPainting = true;
  while (isStale) {
    isStale = false;
    await paint();
  }
  isPainting = false;
  document.body.dataset.painted = Number(document.body.dataset.painted || 0) + 1;
}

async function paint() {
  try {
    if (settings.whole) await takeAllRows();
    const wanted = { frame: frameOf(settings, format), look: lookOf(settings) };
    const asked = format;
    if (await preview(wanted) && (isStale || isPlaying)) return;
    show(await painter.ask('picture', wanted), asked);
  } catch (error) {
    showMessage(error.message, true);
    byId('readout').textContent = '\u00a0';
    shownFacts = null;
    showLines();
  }
}

// Shows what is seen of a large picture, and of its pixels every so many where the screen has no
// room for more of them. Whether it did. Then it waits for a while in which nothing is changed.
async function preview(wanted) {
  const { width, height } = settings;
  if (!view.bitmap || width * height < PREVIEW_FROM) return false;
  const { area, pixelsInOne } = view.seen(settings.rotation % 180 === 0 ? { width, height } : { width: height, height: width });
  let step = Math.max(1, Math.floor((pixelsInOne - 1) / 2) * 2 + 1);
  while (area.width * area.height > PREVIEW_FROM * step) step += 2; // screens of very many pixels
  const found = await painter.ask('preview', { ...wanted, area, step });
  if (!found) return false;
  view.show(found.bitmap, found.width, found.height, found.area);
  const end = performance.now() + REST;
  while (!isStale && !isPlaying && performance.now() < end) await new Promise((resolve) => setTimeout(resolve, 10));
  return true;
}

async function takeAllRows() {
  const rows = await painter.ask('rows', { frame: frameOf(settings, format) });
  if (rows === null) return;
  const most = Math.max(1, Math.floor(MOST_PIXELS_AT_FIRST / settings.width));
  settings.height = Math.max(1, Math.min(rows, most));
  byId('height').value = settings.height;
}

function show(picture, asked) {
  shownFacts = picture;
  byId('welcome').hidden = true;
  byId('picture').hidden = false;
  view.show(picture.bitmap);
  showMessage(picture.isCut || picture.fit.fit !== 0 ? picture.fit.text : '');
  const frames = Math.max(1, picture.fit.frames);
  byId('index-slider').max = frames - 1;
  byId('index').max = frames - 1;
  byId('play').disabled = frames < 2;
  drawFacts(asked);
  showLines();
  if (view.isPointShown) point(...view.point);
  if (byId('orders').checked) showOrders();
  showDivisors();
}

function drawFacts(asked) {
  const { raw, counts, hex: bytes, offset } = shownFacts;
  drawHistogram(byId('raw-histogram'), raw);
  drawHistogram(byId('picture-histogram'), counts);
  byId('raw-text').textContent = histogramText(raw, raw ? 2 ** asked.depth / raw[0].length : 1);
  byId('counts-text').textContent = histogramText(counts, 1);
  showHex(byId('hex'), bytes, offset, asked.groupBytes || 1);
  showDiagram(byId('diagram'), diagrams[`${asked.code}:${settings.bigEndian ? 1 : 0}`] || diagrams[`${asked.code}:0`], asked);
}

let isPointing = false, nextPoint = null;

async function point(x, y) {
  nextPoint = [x, y];
  if (isPointing) return;
  isPointing = true;
  while (nextPoint) {
    const [column, row] = nextPoint;
    nextPoint = null;
    byId('readout').textContent = readoutText(await painter.ask('probe', { x: column, y: row }).catch(() => null));
  }
  isPointing = false;
}

let divisorsOf = '';

async function showDivisors() {
  const key = [format.code, settings.skip, file.size].join();
  if (key === divisorsOf) return markDivisor();
  divisorsOf = key;
  const widths = await painter.ask('divisors', { code: format.code, skip: settings.skip, most: 8192 });
  byId('divisors').replaceChildren(...widths.map((width) => element('option', { value: width })));
  byId('divisor-list').replaceChildren(...widths.filter((width) => width >= 64).map((width) => {
    const button = element('button', { type: 'button', value: width }, String(width));
    button.addEventListener('click', () => change({ width }));
    return button;
  }));
  return markDivisor();
}

// The button of the width is marked, and brought into sight without moving the page.
function markDivisor() {
  for (const button of byId('divisor-list').children)
    button.setAttribute('aria-pressed', Number(button.value) === settings.width);
  const list = byId('divisor-list'), [pressed] = list.querySelectorAll('[aria-pressed=true]');
  if (pressed) list.scrollTop = pressed.offsetTop - list.offsetTop;
}

// ---- Files and guesses -----------------------------------------------------------------------

let opened = 0;

async function open(blob) {
  file = blob;
  const number = ++opened;
  const name = file.name || 'pasted';
  byId('file-name').textContent = `${name}, ${file.size.toLocaleString('en')} bytes`;
  byId('wanted').hidden = true;
  divisorsOf = '';
  stopPlaying();
  const hints = await painter.ask('open', { file });
  if (!isTouched) takeHints(hints);
  apply({ index: 0 });
  await guess(number);
}

// The first picture, before anything is known: what the name says, or a square of bytes.
function takeHints({ width, height, code, flags }) {
  const named = formats.find((one) => one.code === code);
  settings = { ...DEFAULTS, width: 2 ** Math.round(Math.log2(Math.sqrt(Math.max(1, Math.min(file.size, 4e6))))) };
  if (named) Object.assign(settings, { format: named.name, bigEndian: (flags & 1) !== 0, videoRange: (flags & 2) !== 0 });
  if (width > 0) Object.assign(settings, { width, height, whole: false });
  isTouched = width > 0 && named !== undefined;
}

async function guess(number) {
  byId('guesses').hidden = false;
  byId('guess-state').textContent = 'Looking at the bytes …';
  byId('guess-list').hidden = false;
  byId('guess-list').replaceChildren();
  byId('guess-text').textContent = '';
  helper.restart();
  try {
    const { readings, text } = await helper.ask('guess');
    if (number !== opened) return;
    byId('guess-state').textContent = readings.length === 0 ? '' : `${readings.length} ${readings.length === 1 ? 'reading' : 'readings'}, the likeliest first`;
    byId('guess-text').textContent = text;
    byId('guess-list').hidden = readings.length === 0;
    if (readings.length > 0 && !isTouched) apply(settingsOf(readings[0]));
    if (readings.length > 0) byId('guess-text').textContent = [readings[0].unknown && `Open: ${readings[0].unknown}`, text].filter(Boolean).join('\n');
    await showReadings(readings, number);
  } catch (error) {
    if (number === opened) byId('guess-state').textContent = error.message;
  }
}

function settingsOf(reading) {
  const { width, height, stride, skip, gap } = reading;
  return {
    format: formats.find((one) => one.code === reading.code).name,
    bigEndian: (reading.flags & 1) !== 0, videoRange: (reading.flags & 2) !== 0,
    width, height, whole: false, stride, skip, gap, index: 0,
  };
}

async function showReadings(readings, number) {
  const items = readings.map((reading) => {
    const changes = settingsOf(reading);
    const details = [`${reading.width} × ${reading.height}`];
    if (reading.stride) details.push(`stride ${reading.stride}`);
    if (reading.skip) details.push(`skip ${reading.skip}`);
    if (reading.gap) details.push(`gap ${reading.gap}`);
    if (changes.bigEndian) details.push('high byte first');
    if (reading.frames > 1) details.push(`${reading.frames} frames`);
    return { title: changes.format, detail: details.join(', '), changes };
  });
  await showThumbnails(byId('guess-list'), items, () => number === opened);
}

// Buttons at once, their pictures one after the other.
async function showThumbnails(list, items, isWanted) {
  const buttons = items.map(({ title, detail, changes }) => thumbnailButton(title, detail, () => change(changes)));
  list.replaceChildren(...buttons.map(({ button }) => button));
  for (const [i, { changes }] of items.entries()) {
    if (!isWanted()) return;
    const wanted = { ...settings, ...changes };
    const message = { frame: frameOf(wanted, formatNamed(wanted.format)), look: lookOf(wanted), size: THUMBNAIL };
    const answer = await helper.ask('thumbnail', message).catch(() => null);
    if (answer && isWanted()) buttons[i].draw(answer.bitmap);
  }
}

let ordersShown = '';

async function showOrders() {
  const orders = formats.filter((one) => one.order !== 0 && one.layout === format.layout && one.depth === format.depth && one.bits === format.bits);
  const key = JSON.stringify([format.code, { ...settings, format: '' }]);
  byId('order-list').hidden = orders.length === 0;
  if (key === ordersShown) return;
  ordersShown = key;
  const items = orders.map((one) => ({ title: one.name, detail: '', changes: { format: one.name } }));
  await showThumbnails(byId('order-list'), items, () => key === ordersShown);
}

// ---- Taking away -----------------------------------------------------------------------------

const savedFrame = () => ({ frame: frameOf(settings, format), look: lookOf(settings) });
const fileName = () => (file && file.name) || 'FILE';

function showLines() {
  byId('line').value = commandLine(settings, format, fileName());
}

async function save(bits) {
  try {
    const blob = await painter.ask('png', { ...savedFrame(), bits });
    const name = fileName().replace(/\.[^.]*$/, '') + (bits === 16 ? '_16bit' : '') + '.png';
    const link = element('a', { href: URL.createObjectURL(blob), download: name });
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
    byId('done').textContent = `Saved ${name}`;
  } catch (error) {
    showMessage(error.message, true);
  }
}

async function copy(text, what) {
  byId('line').value = text;
  try {
    await navigator.clipboard.writeText(text);
    byId('done').textContent = `${what} copied`;
  } catch {
    byId('line').select();
    byId('done').textContent = 'The browser keeps the clipboard closed: the line is selected, copy it with Ctrl+C';
  }
}

function copyPython() {
  const offset = shownFacts ? shownFacts.offset : settings.skip;
  const length = shownFacts && shownFacts.sizes.neededBytes ? shownFacts.sizes.neededBytes : -1;
  copy(pythonLine(settings, format, fileName(), offset, length), 'Python line');
}

let fragmentTimer = 0;

function saveFragment() {
  clearTimeout(fragmentTimer);
  fragmentTimer = setTimeout(() => history.replaceState(null, '', toFragment(settings, file && file.name)), 300);
}

// ---- Playing ---------------------------------------------------------------------------------

let isPlaying = false;

function stopPlaying() {
  isPlaying = false;
  byId('play').textContent = 'Play';
  byId('play').setAttribute('aria-pressed', 'false');
}

async function play() {
  if (isPlaying) return stopPlaying();
  isPlaying = true;
  byId('play').textContent = 'Stop';
  byId('play').setAttribute('aria-pressed', 'true');
  while (isPlaying) {
    const frames = Number(byId('index-slider').max) + 1;
    change({ index: (settings.index + 1) % frames });
    await new Promise((resolve) => setTimeout(resolve, 40));
    while (isPainting) await new Promise((resolve) => setTimeout(resolve, 5));
  }
  return update(); // the whole of what has been a preview
}

// ---- Wiring ----------------------------------------------------------------------------------

const view = new PictureView(byId('picture'), point, (text) => { byId('zoom-value').value = text; });

function takeNumber(name, text) {
  const value = Number(text);
  if (text.trim() === '' || !Number.isFinite(value)) return;
  change({ [name]: LEVELS.includes(name) ? value : Math.trunc(value) });
}

function wireControls() {
  byId('controls').addEventListener('submit', (event) => event.preventDefault());
  for (const name of NUMBERS) byId(name).addEventListener('input', ({ target }) => takeNumber(name, target.value));
  for (const [id, name] of Object.entries(SLIDERS)) byId(id).addEventListener('input', ({ target }) => takeNumber(name, target.value));
  for (const name of CHECKS) byId(name).addEventListener('change', ({ target }) => change({ [name]: target.checked }));
  for (const name of CHOICES) byId(name).addEventListener('change', ({ target }) => change({ [name]: Number(target.value) }));
  for (const id of ['width', 'width-slider'])
    byId(id).addEventListener('wheel', (event) => {
      event.preventDefault();
      const turn = Math.sign(event.deltaY || event.deltaX); // with Shift many browsers turn sideways
      change({ width: Math.max(1, settings.width - turn * (event.shiftKey ? 16 : 1)) });
    }, { passive: false });
  byId('format').addEventListener('change', ({ target }) => changeFormat(target.value));
  byId('format').addEventListener('focus', ({ target }) => target.select());
  byId('orders').addEventListener('change', ({ target }) => {
    byId('order-list').hidden = !target.checked;
    if (target.checked) showOrders();
  });
  byId('play').addEventListener('click', play);
  byId('auto').addEventListener('click', async () => {
    try {
      change(await painter.ask('autoLevels', { frame: frameOf(settings, format) }));
    } catch (error) {
      showMessage(error.message, true);
    }
  });
  byId('reset').addEventListener('click', () => change(Object.fromEntries(LEVELS.map((name) => [name, DEFAULTS[name]]))));
  byId('save').addEventListener('click', () => save(8));
  byId('save16').addEventListener('click', () => save(16));
  byId('copy-command').addEventListener('click', () => copy(commandLine(settings, format, fileName()), 'Command'));
  byId('copy-python').addEventListener('click', copyPython);
  byId('copy-link').addEventListener('click', () => copy(location.href.replace(/#.*/, '') + toFragment(settings, file && file.name), 'Link'));
  byId('zoom-in').addEventListener('click', () => view.zoom(2));
  byId('zoom-out').addEventListener('click', () => view.zoom(0.5));
  byId('zoom-fit').addEventListener('click', () => view.fit());
  byId('zoom-one').addEventListener('click', () => view.oneToOne());
}

const KEYS = {
  ArrowLeft: (far) => view.step(-far, 0), ArrowRight: (far) => view.step(far, 0),
  ArrowUp: (far) => view.step(0, -far), ArrowDown: (far) => view.step(0, far),
  '+': () => view.zoom(2), '=': () => view.zoom(2), '-': () => view.zoom(0.5),
  0: () => view.fit(), 1: () => view.oneToOne(),
  '[': () => change({ width: Math.max(1, settings.width - 1) }), ']': () => change({ width: settings.width + 1 }),
  ',': () => change({ index: Math.max(0, settings.index - 1) }),
  '.': () => change({ index: Math.min(Number(byId('index-slider').max), settings.index + 1) }),
  r: () => change({ rotation: (settings.rotation + 90) % 360 }),
};

function wireFiles() {
  byId('file').addEventListener('change', ({ target }) => {
    const [chosen] = target.files;
    if (chosen) open(chosen);
    target.value = ''; // the same file may be chosen again when it has changed
  });
  document.addEventListener('dragover', (event) => {
    event.preventDefault();
    document.body.classList.add('dragging');
  });
  document.addEventListener('dragleave', (event) => { if (!event.relatedTarget) document.body.classList.remove('dragging'); });
  document.addEventListener('drop', (event) => {
    event.preventDefault();
    document.body.classList.remove('dragging');
    if (event.dataTransfer.files[0]) open(event.dataTransfer.files[0]);
  });
  document.addEventListener('paste', (event) => { if (event.clipboardData.files[0]) open(event.clipboardData.files[0]); });
  byId('picture').addEventListener('keydown', (event) => {
    const action = KEYS[event.key.length === 1 ? event.key.toLowerCase() : event.key];
    if (!action || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    action(event.shiftKey ? 10 : 1);
  });
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => { if (shownFacts) drawFacts(format); });
  // Not location.hash, which the page itself may have set since.
  addEventListener('hashchange', ({ newURL }) => takeFragment(new URL(newURL).hash));
}

function takeFragment(fragment) {
  const { settings: given, file: name } = fromFragment(fragment);
  if (Object.keys(given).length === 0) return;
  isTouched = true;
  if (name && !file) {
    byId('wanted').hidden = false;
    byId('wanted').textContent = `The settings are those of ${name}: open it`;
  }
  apply(given);
}

async function start() {
  try {
    await prepareWorkers();
    painter = new EngineWorker();
    helper = new EngineWorker();
    [formats] = await Promise.all([painter.ready, helper.ready]);
  } catch (error) {
    showMessage(`This browser cannot run the page: it needs WebAssembly with SIMD and Workers (Chrome, Edge or Firefox, or Safari from 16.4 on). ${error.message}`, true);
    return;
  }
  byId('formats').replaceChildren(...formats.map((one) => element('option', { value: one.name }, one.names.trim())));
  format = formatNamed(settings.format);
  showSettings();
  showLines();
  wireControls();
  wireFiles();
  takeFragment(location.hash);
  diagrams = await helper.ask('diagrams');
  if (shownFacts) drawFacts(format);
  document.body.dataset.ready = 'yes';
}

start();
