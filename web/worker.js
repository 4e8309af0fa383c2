// A Worker: it has the file and the engine, so that the page never waits. Messages are
// { id, task, ... }; answers { id, result } or { id, error }.
'use strict';

const HISTOGRAM_SAMPLES = 1 << 18;
const MOST_BYTES_OF_A_LIST = 64 << 20;
const HEX_BYTES = 64;
const GROUP_PIXELS = 8; // of any format: a multiple of its groups, which takes whole bytes

let engine, formats, file;
// What lies in the engine's buffers.
let loaded = null;     // { frame, offset, length }
let shown = null;      // the picture
let samples = null;    // the samples of the frame, or null
let rawCounts = null;  // their histogram

const reader = new FileReaderSync();

function read(offset, into) {
  const end = Math.min(offset + into.length, file.size);
  if (offset >= end) return 0;
  into.set(new Uint8Array(reader.readAsArrayBuffer(file.slice(offset, end))));
  return end - offset;
}

function readSlice(offset, length) {
  return new Uint8Array(reader.readAsArrayBuffer(file.slice(offset, offset + length)));
}

const formatOf = (code) => formats.get(code);
const isMosaic = (format) => format.order !== 0;

// Puts a frame of the file into the engine's buffer. What the file does not have is 0.
function load(frame) {
  const sizes = engine.setFrame(frame);
  const isList = formatOf(frame.code).layout === POINTS;
  const offset = frame.skip + frame.index * (sizes.frameBytes + frame.gap);
  const there = Math.max(0, file.size - offset);
  const length = isList ? Math.min(there, MOST_BYTES_OF_A_LIST) : sizes.frameBytes;
  if (there === 0) throw new Refusal(engine.fitFile(file.size).text || `the file has no frame ${frame.index}`);
  if (!loaded || loaded.file !== file || loaded.offset !== offset || loaded.length < length) {
    loaded = samples = rawCounts = null;
    const more = length + (isList ? 0 : length >> 3); // whoever looks for the width tries the next one
    const room = engine.room(SOURCE, more);
    const got = read(offset, room);
    room.fill(0, got);
    loaded = { file, offset, length: more };
  }
  const key = JSON.stringify(frame);
  if (loaded.key !== key) samples = rawCounts = null;
  const isCut = !isList && there < sizes.neededBytes;
  return Object.assign(loaded, { key, frame, sizes, isCut });
}

function bitmapOf(picture, options) {
  const pixels = engine.room(PICTURE, picture.bytes);
  const data = new Uint8ClampedArray(pixels.buffer, pixels.byteOffset, picture.bytes);
  return createImageBitmap(new ImageData(data, picture.width, picture.height), options);
}

function rawSamples() {
  if (samples) return samples;
  const { layout } = formatOf(loaded.frame.code);
  if (layout >= 10) return null; // YUV and lists of points have no samples of pixels
  engine.setFrame(loaded.frame);
  engine.setTarget('raw16');
  const info = engine.convert(SAMPLES, loaded.length);
  samples = { ...info, pointer: engine.room(SAMPLES, info.bytes).byteOffset };
  return samples;
}

const sampleWords = () => new Uint16Array(engine.calls.memory.buffer, samples.pointer, samples.bytes / 2);

// Which of red, green and blue (0, 1, 2) a pixel of a mosaic has.
function siteColour(order, x, y) {
  const firstGreen = order === 2 || order === 4;
  if (((x + y) % 2 === 0) === firstGreen) return 1;
  const redRow = order === 1 || order === 4 ? 0 : 1;
  return y % 2 === redRow ? 0 : 2;
}

// Counts of up to 256 levels for each colour; of large pictures every so many rows. The step is odd:
// both kinds of a mosaic's rows are among them.
function rawHistogram() {
  const raw = rawSamples();
  if (!raw) return null;
  const format = formatOf(loaded.frame.code);
  const shift = Math.max(0, format.depth - 8);
  const colours = isMosaic(format) ? 3 : raw.channels;
  const counts = Array.from({ length: colours }, () => new Uint32Array(Math.min(256, 1 << format.depth)));
  const words = sampleWords();
  const rowWords = raw.width * raw.channels;
  const step = Math.ceil((rowWords * raw.height) / HISTOGRAM_SAMPLES) | 1;
  for (let y = 0; y < raw.height; y += step) {
    const row = words.subarray(y * rowWords, (y + 1) * rowWords);
    const even = counts[colours === 1 ? 0 : isMosaic(format) ? siteColour(format.order, 0, y) : 0];
    const odd = counts[colours === 1 ? 0 : isMosaic(format) ? siteColour(format.order, 1, y) : 0];
    if (raw.channels === 3) for (let x = 0; x < rowWords; ++x) ++counts[x % 3][row[x] >> shift];
    else for (let x = 0; x < rowWords; ++x) ++(x & 1 ? odd : even)[row[x] >> shift];
  }
  return counts;
}

function pictureHistogram(picture, isColor) {
  const pixels = engine.room(PICTURE, picture.bytes);
  const counts = Array.from({ length: isColor ? 3 : 1 }, () => new Uint32Array(256));
  const step = Math.ceil((picture.width * picture.height) / HISTOGRAM_SAMPLES) | 1;
  for (let y = 0; y < picture.height; y += step) {
    const end = 4 * (y + 1) * picture.width;
    for (let i = 4 * y * picture.width; i < end; i += 4) {
      ++counts[0][pixels[i]];
      if (isColor) {
        ++counts[1][pixels[i + 1]];
        ++counts[2][pixels[i + 2]];
      }
    }
  }
  return counts;
}

// The pixel of the frame that a pixel of a picture of width x height shows: flips undone, then the
// rotation.
function sourcePixel({ rotation, flip }, { width, height }, x, y) {
  if (flip & 4) x = width - 1 - x;
  if (flip & 8) y = height - 1 - y;
  switch (rotation) {
    case 90: return [y, width - 1 - x];
    case 180: return [width - 1 - x, height - 1 - y];
    case 270: return [height - 1 - y, x];
    default: return [x, y];
  }
}

// The other way: where a picture of width x height shows a pixel of the frame.
function picturePixel({ rotation, flip }, { width, height }, column, row) {
  const turned = { 90: [width - 1 - row, column], 180: [width - 1 - column, height - 1 - row], 270: [row, height - 1 - column] };
  const [x, y] = turned[rotation] || [column, row];
  return [flip & 4 ? width - 1 - x : x, flip & 8 ? height - 1 - y : y];
}

// The area that `turn` (sourcePixel or picturePixel) makes of an area of a picture of `size`.
function turnedArea(turn, look, size, { left, top, width, height }) {
  const [x0, y0] = turn(look, size, left, top);
  const [x1, y1] = turn(look, size, left + width - 1, top + height - 1);
  return { left: Math.min(x0, x1), top: Math.min(y0, y1), width: Math.abs(x1 - x0) + 1, height: Math.abs(y1 - y0) + 1 };
}

// An area of a frame and what is around it, which demosaicing takes into account. It begins at
// whole groups and cells.
function withSurroundings(frame, { left, top, width, height }) {
  const begin = (at) => Math.max(0, Math.floor(at / GROUP_PIXELS - 1) * GROUP_PIXELS);
  const [x, y] = [begin(left), begin(top)];
  return { left: x, top: y, width: Math.min(frame.width, left + width + GROUP_PIXELS) - x, height: Math.min(frame.height, top + height + GROUP_PIXELS) - y };
}

// Of the picture in the engine's buffer every so many pixels, across and down.
function pickedPixels({ width, height, bytes }, across, down) {
  const { buffer, byteOffset } = engine.room(PICTURE, bytes);
  const pixels = new Uint32Array(buffer, byteOffset, bytes / 4);
  const small = { width: Math.ceil(width / across), height: Math.ceil(height / down) };
  const picked = new Uint32Array(small.width * small.height);
  for (let y = 0, at = 0; y < small.height; ++y)
    for (let x = 0, from = y * down * width; x < small.width; ++x, from += across) picked[at++] = pixels[from];
  return new ImageData(new Uint8ClampedArray(picked.buffer), small.width, small.height);
}

// For each bit of a group's bytes, the highest first, which sample it belongs to and which bit of it
// it is: found by setting the bit and looking which sample changes.
function diagram(code, flags) {
  const { layout, groupPixels, groupBytes } = formatOf(code);
  if (layout >= 10) return null;
  engine.setFrame({ code, flags, width: groupPixels, height: 1, stride: 0, skip: 0, gap: 0 });
  engine.setTarget('raw16');
  loaded = samples = rawCounts = null;
  const sampleOf = (byte, bit) => {
    const source = engine.room(SOURCE, groupBytes);
    source.fill(0);
    source[byte] = 1 << bit;
    const info = engine.convert(SAMPLES, groupBytes);
    const { byteOffset } = engine.room(SAMPLES, info.bytes);
    const words = new Uint16Array(engine.calls.memory.buffer, byteOffset, info.bytes / 2);
    const sample = words.findIndex((word) => word !== 0);
    return sample < 0 ? null : { sample, bit: Math.log2(words[sample]) };
  };
  return Array.from({ length: groupBytes }, (_, byte) =>
    [7, 6, 5, 4, 3, 2, 1, 0].map((bit) => sampleOf(byte, bit)));
}

const tasks = {
  async start({ module }) {
    engine = await Engine.load(module, read);
    const list = engine.formats();
    formats = new Map(list.map((format) => [format.code, format]));
    return list;
  },

  open(message) {
    file = message.file;
    loaded = shown = samples = rawCounts = null;
    return engine.nameHints(file.name || '');
  },

  findFormat: ({ name }) => engine.findFormat(name),

  // Rows that lie between `skip` and the end of the file.
  rows({ frame }) {
    const { rowBytes, stride } = engine.setFrame({ ...frame, height: 1 });
    const bytes = Math.max(0, file.size - frame.skip);
    const { bits } = formatOf(frame.code);
    if (rowBytes === 0) return null; // a list of points
    return stride > 0 ? Math.floor((bytes + stride - rowBytes) / stride) : Math.floor((8 * bytes) / (bits * frame.width));
  },

  // Widths whose rows divide the file's length without a rest.
  divisors({ code, skip, most }) {
    const bytes = file.size - skip;
    const { groupPixels } = formatOf(code);
    const widths = [];
    for (let width = 16; width <= most; ++width) {
      if (width % groupPixels !== 0) continue;
      const row = engine.calls.row_bytes(code, width);
      if (row > 0 && bytes % row === 0 && bytes / row >= 16) widths.push(width);
    }
    return widths;
  },

  async picture({ frame, look }) {
    const started = performance.now();
    shown = null;
    load(frame);
    const fit = engine.fitFile(file.size);
    engine.setTarget('rgba32', look);
    const picture = engine.convert(PICTURE, loaded.length);
    const converted = performance.now();
    shown = { ...picture, look };
    const bitmap = await bitmapOf(picture);
    const drawn = performance.now();
    const format = formatOf(frame.code);
    return {
      transfer: [bitmap],
      bitmap, fit,
      width: picture.width, height: picture.height,
      sizes: loaded.sizes, offset: loaded.offset, isCut: loaded.isCut,
      hex: readSlice(loaded.offset, HEX_BYTES),
      raw: rawCounts ??= rawHistogram(),
      counts: pictureHistogram(picture, format.isColor),
      milliseconds: [converted - started, drawn - converted],
    };
  },

  // Of an area of the picture every step-th pixel of every step-th row. The step is odd, so that the
  // rows are a mosaic's, too, and the engine converts them as a frame of a larger stride.
  async preview({ frame, look, area, step }) {
    shown = null;
    const { sizes, length } = load(frame);
    const rowsShareBytes = sizes.stride === 0; // or it is a list of points
    if (rowsShareBytes && (step > 1 || sizes.rowBytes === 0)) return null;
    const isLying = look.rotation % 180 !== 0; // rows of the frame are columns of the picture
    const size = isLying ? { width: frame.height, height: frame.width } : { width: frame.width, height: frame.height };
    const part = withSurroundings(frame, turnedArea(sourcePixel, look, size, area));
    if (rowsShareBytes) Object.assign(part, { left: 0, width: frame.width });
    const { bits } = formatOf(frame.code);
    const start = (part.top * (rowsShareBytes ? frame.width * bits : 8 * sizes.stride) + part.left * bits) / 8;
    engine.setFrame({ ...frame, width: part.width, height: Math.ceil(part.height / step), stride: sizes.stride * step });
    engine.setTarget('rgba32', look);
    const rows = engine.convert(PICTURE, length - start, start);
    const bitmap = step === 1 ? await bitmapOf(rows)
      : await createImageBitmap(isLying ? pickedPixels(rows, 1, step) : pickedPixels(rows, step, 1));
    return { transfer: [bitmap], bitmap, ...size, area: turnedArea(picturePixel, look, size, part) };
  },

  // What lies under a pixel of the picture.
  probe({ x, y }) {
    if (!shown || x < 0 || y < 0 || x >= shown.width || y >= shown.height) return null;
    const { frame, sizes, offset } = loaded;
    const format = formatOf(frame.code);
    const at = 4 * (y * shown.width + x);
    const colour = [...engine.room(PICTURE, shown.bytes).subarray(at, at + 3)];
    const [column, row] = sourcePixel(shown.look, shown, x, y);
    const result = { x: column, y: row, colour, isColor: format.isColor };
    if (format.layout === POINTS) return result;
    const bits = sizes.stride > 0 ? 0 : row * frame.width * format.bits;
    const group = Math.floor(column / format.groupPixels);
    const inRow = sizes.stride > 0 && format.layout !== 1 ? group * format.groupBytes
      : Math.floor(((bits % 8) + column * format.bits) / 8);
    const byte = row * sizes.stride + Math.floor(bits / 8) + inRow;
    const length = format.layout === 1 ? Math.ceil((((bits + column * format.bits) % 8) + format.bits) / 8) : format.groupBytes;
    result.offset = offset + byte;
    result.bytes = [...engine.room(SOURCE, loaded.length).subarray(byte, byte + length)];
    const raw = rawSamples();
    if (raw) {
      const word = (row * raw.width + column) * raw.channels;
      result.samples = [...sampleWords().subarray(word, word + raw.channels)];
      if (isMosaic(format)) result.site = siteColour(format.order, column, row);
    }
    return result;
  },

  autoLevels({ frame }) {
    load(frame);
    return engine.autoLevels(loaded.length);
  },

  // As `imgcnv convert` makes it: grey of grey formats, else RGB.
  async png({ frame, look, bits }) {
    load(frame);
    const { isColor } = formatOf(frame.code);
    const kind = bits === 8 ? (isColor ? 'rgb24' : 'mono8') : isColor ? 'rgb48' : 'raw16';
    samples = null; // its room is taken
    engine.setTarget(kind, { ...look, flags: bits === 16 ? FULL_SCALE : 0 });
    const info = engine.convert(SAMPLES, loaded.length);
    const pixels = engine.room(SAMPLES, info.bytes).slice();
    return encodePng(pixels, info.width, info.height, info.channels, info.channelBytes);
  },

  guess: () => engine.guess(file.size, file.name || ''),

  async thumbnail({ frame, look, size }) {
    load(frame);
    engine.setTarget('rgba32', look);
    const picture = engine.convert(PICTURE, loaded.length);
    const scale = Math.min(1, size / Math.max(picture.width, picture.height));
    const bitmap = await bitmapOf(picture, {
      resizeWidth: Math.max(1, Math.round(picture.width * scale)),
      resizeHeight: Math.max(1, Math.round(picture.height * scale)),
      resizeQuality: 'medium',
    });
    return { bitmap, transfer: [bitmap] };
  },

  // Of every format, by code and byte order.
  diagrams() {
    const all = {};
    for (const { code } of formats.values())
      for (const flags of [0, 1]) {
        try {
          all[`${code}:${flags}`] = diagram(code, flags);
        } catch (error) {
          if (!(error instanceof Refusal)) throw error; // this format has one byte order only
        }
      }
    return all;
  },
};

// One task after the other: some wait for the browser in between.
let last = Promise.resolve();
onmessage = ({ data }) => {
  last = last.then(async () => {
    try {
      const result = await tasks[data.task](data);
      const transfer = (result && result.transfer) || [];
      if (result) delete result.transfer;
      postMessage({ id: data.id, result }, transfer);
    } catch (error) {
      postMessage({ id: data.id, error: error.message, isFatal: !(error instanceof Refusal) });
    }
  });
};
