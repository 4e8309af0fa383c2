// Histograms, bytes, and the buttons with small pictures.
'use strict';

const CHANNEL_COLOURS = ['--red', '--green', '--blue'];
const CHANNEL_NAMES = ['red', 'green', 'blue'];

const byId = (id) => document.getElementById(id);
const styleOf = (name) => getComputedStyle(document.documentElement).getPropertyValue(name);

function element(name, properties = {}, ...children) {
  const made = Object.assign(document.createElement(name), properties);
  made.append(...children);
  return made;
}

function drawHistogram(canvas, counts) {
  const context = canvas.getContext('2d');
  const { width, height } = canvas;
  context.clearRect(0, 0, width, height);
  if (!counts) return;
  // The ends are often far higher than the rest: clipped samples.
  const inner = counts.flatMap((channel) => [...channel.slice(1, -1)]);
  const most = Math.max(1, inner.length > 8 ? Math.max(...inner) : Math.max(...counts.flatMap((c) => [...c])));
  counts.forEach((channel, number) => {
    const step = width / channel.length;
    context.fillStyle = counts.length === 1 ? styleOf('--text') : styleOf(CHANNEL_COLOURS[number]);
    context.globalAlpha = counts.length === 1 ? 0.8 : 0.55;
    channel.forEach((count, level) => {
      if (count === 0) return;
      const tall = Math.max(1, Math.min(1, count / most) * height);
      context.fillRect(level * step, height - tall, Math.max(1, step), tall);
    });
  });
  context.globalAlpha = 1;
}

// For those who cannot see the histogram: where it begins, ends and has its middle.
function histogramText(counts, scale) {
  if (!counts) return 'none: this format has no samples of single pixels';
  const total = new Float64Array(counts[0].length);
  for (const channel of counts) channel.forEach((count, level) => { total[level] += count; });
  const sum = total.reduce((all, count) => all + count, 0);
  const first = total.findIndex((count) => count > 0), last = total.findLastIndex((count) => count > 0);
  let below = 0;
  const middle = total.findIndex((count) => (below += count) >= sum / 2);
  return `${first * scale} to ${last * scale + scale - 1}, half below ${middle * scale + scale}`;
}

const hex = (byte) => byte.toString(16).padStart(2, '0').toUpperCase();

// Bytes in the groups of the format.
function showHex(box, bytes, offset, groupBytes) {
  const groups = [];
  for (let i = 0; i < bytes.length; i += groupBytes)
    groups.push(element('span', { className: 'group' }, [...bytes.slice(i, i + groupBytes)].map(hex).join(' ')));
  box.replaceChildren(element('span', { className: 'offset' }, `${offset}:`), ...groups);
}

// One column for each byte, one row for each of its bits.
function showDiagram(box, diagram, format) {
  if (!diagram) {
    box.replaceChildren(element('p', { className: 'hint' }, format.layoutText));
    return;
  }
  const names = format.layout >= 6 && format.layout <= 9 ? ['R', 'G', 'B'] : null;
  const nameOf = (sample) => (names ? names[sample % 3] : `p${sample}`);
  const head = element('tr', {}, element('th', { scope: 'col' }, 'bit'),
    ...diagram.map((_, byte) => element('th', { scope: 'col' }, `byte ${byte}`)));
  const rows = [7, 6, 5, 4, 3, 2, 1, 0].map((bit, row) => element('tr', {}, element('th', { scope: 'row' }, String(bit)),
    ...diagram.map((byte) => (byte[row]
      ? element('td', { className: `sample${byte[row].sample % 4}` }, `${nameOf(byte[row].sample)}.${byte[row].bit}`)
      : element('td', { className: 'unused' }, '–')))));
  const caption = element('caption', {}, `${format.layoutText || format.name}: which bit of which ${names ? 'colour' : 'pixel'} each bit is`);
  box.replaceChildren(element('table', {}, caption, element('thead', {}, head), element('tbody', {}, ...rows)));
}

// A button with room for a small picture, which is drawn when it is there.
function thumbnailButton(title, detail, onClick) {
  const canvas = element('canvas', { width: 1, height: 1 });
  canvas.setAttribute('aria-hidden', 'true');
  const button = element('button', { type: 'button', className: 'thumbnail' }, canvas,
    element('span', { className: 'title' }, title), element('span', { className: 'detail' }, detail));
  button.addEventListener('click', onClick);
  const draw = (bitmap) => {
    canvas.width = bitmap.width;
    canvas.height = bitmap.height;
    canvas.getContext('2d').drawImage(bitmap, 0, 0);
    bitmap.close();
  };
  return { button, draw };
}

function readoutText(probe) {
  if (!probe) return '\u00a0';
  const parts = [`x ${probe.x}, y ${probe.y}`];
  if (probe.samples) parts.push(`sample ${probe.samples.join(', ')}${probe.site === undefined ? '' : ` (${CHANNEL_NAMES[probe.site]})`}`);
  if (probe.bytes) parts.push(`byte ${probe.offset}: ${probe.bytes.map(hex).join(' ')}`);
  parts.push(probe.isColor ? `RGB ${probe.colour.join(', ')}` : `grey ${probe.colour[0]}`);
  return parts.join(' · ');
}
