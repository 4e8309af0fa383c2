// The frame engine in a Worker: engine.cpp's functions as methods. Buffers are looked up at each use,
// because memory that grows gets a new ArrayBuffer.
'use strict';

// What the engine refuses, in its words.
class Refusal extends Error {}

const SOURCE = 0, PICTURE = 1, SAMPLES = 2, ARGUMENT = 3;
const TARGETS = { mono8: 1, rgb24: 2, rgba32: 4, raw16: 6, rgb48: 7 };
const FULL_SCALE = 1;
const POINTS = 14;

class Engine {
  // `read(offset, into)` fills a Uint8Array from the file and says how many bytes there were.
  static async load(module, read) {
    const engine = new Engine();
    const nothing = () => 0;
    const imports = {
      env: { emscripten_notify_memory_growth: nothing },
      wasi_snapshot_preview1: { proc_exit: nothing },
      page: { read: (offset, pointer, bytes) => read(offset, engine.bytes(pointer, bytes)) },
    };
    const { instance } = await WebAssembly.instantiate(module, imports);
    engine.calls = instance.exports;
    engine.calls._initialize();
    return engine;
  }

  bytes(pointer, length) { return new Uint8Array(this.calls.memory.buffer, pointer, length); }

  string(pointer) {
    const all = new Uint8Array(this.calls.memory.buffer);
    return new TextDecoder().decode(all.slice(pointer, all.indexOf(0, pointer)));
  }

  text() { return this.string(this.calls.text()); }
  json() { return JSON.parse(this.string(this.calls.json())); }

  numbers(count) {
    return [...new Float64Array(this.calls.memory.buffer, this.calls.numbers(), count)];
  }

  room(number, length) {
    const pointer = this.calls.room(number, length);
    if (!pointer) throw new Refusal(`the frame needs ${Math.round(length / 1e6)} MB of memory, more than there is`);
    return this.bytes(pointer, length);
  }

  argument(text) {
    const bytes = new TextEncoder().encode(text + '\0');
    this.room(ARGUMENT, bytes.length).set(bytes);
  }

  check(status) { if (status !== 0) throw new Refusal(this.text()); }

  formats() {
    this.calls.formats();
    return this.json();
  }

  findFormat(name) {
    this.argument(name);
    this.check(this.calls.find_format());
    const [code, flags] = this.numbers(2);
    return { code, flags };
  }

  nameHints(name) {
    this.argument(name);
    this.calls.name_hints();
    const [width, height, code, flags] = this.numbers(4);
    return { width, height, code, flags };
  }

  setFrame(frame) {
    const { code, flags, width, height, stride, skip, gap } = frame;
    this.check(this.calls.set_frame(code, flags, width, height, stride, skip, gap));
    const [rowBytes, rowStride, frameBytes, neededBytes] = this.numbers(4);
    return { rowBytes, stride: rowStride, frameBytes, neededBytes };
  }

  fitFile(bytes) {
    this.check(this.calls.fit_file(bytes));
    const [frames, leftOver, fit, value] = this.numbers(4);
    return { frames, leftOver, fit, value, text: this.text() };
  }

  setTarget(kind, look = {}) {
    const { demosaic = 0, rotation = 0, flip = 0, flags = 0 } = look;
    this.calls.set_target(TARGETS[kind], demosaic, rotation, flip | flags);
    const { black = 0, white = 0, red = 1, green = 1, blue = 1, gamma = 1, contrast = 1 } = look;
    this.calls.set_levels(black, white, red, green, blue, gamma, contrast);
  }

  convert(into, sourceBytes, start = 0) {
    this.check(this.calls.convert(into, sourceBytes, start));
    const [width, height, channels, channelBytes, bytes] = this.numbers(5);
    return { width, height, channels, channelBytes, bytes };
  }

  autoLevels(sourceBytes) {
    this.check(this.calls.auto_levels(sourceBytes));
    const [black, white, red, green, blue] = this.numbers(5);
    return { black, white, red, green, blue };
  }

  guess(bytes, name) {
    this.argument(name);
    const status = this.calls.guess(bytes);
    return { readings: status === 0 ? this.json() : [], text: this.text() };
  }
}
