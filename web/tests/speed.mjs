// speed.mjs COMMAND: how long the page's engine takes for frames of 1920x1080, beside COMMAND, an
// imgcnv with SSE4.1 as its best level. See scripts/bench-web.sh.
import { loadEngine, timeEngine, timeNative } from './engine.mjs';

const [command] = process.argv.slice(2);
const mosaics = ['BayerGR8', 'BayerRG12Packed', 'BayerRG12p'];
const others = ['YUV422Packed', 'YUV444Packed', 'YUV411Packed', 'RGB8Packed', 'Mono8', 'Mono12Packed'];
const size = { width: 1920, height: 1080 };
const rounds = 9;

const engine = await loadEngine();
console.log('| | native | page | ratio |\n|---|---|---|---|');
for (const kind of ['rgba32', 'rgb24'])
  for (const format of [...mosaics, ...others]) {
    const native = [], page = [];
    for (let round = 0; round < rounds; ++round) {
      native.push(timeNative(format, kind, size, 0.05, command));
      page.push(timeEngine(engine, format, kind, size, 50));
    }
    // Whatever else the machine does only adds to a time.
    const best = (times) => Object.keys(times[0]).map((method) => Math.min(...times.map((time) => time[method])));
    const [ours, theirs] = [best(native), best(page)];
    const list = (numbers, digits) => numbers.map((number) => number.toFixed(digits)).join(', ');
    console.log(`| ${format} to ${kind} | ${list(ours, 2)} | ${list(theirs, 2)} | ${list(theirs.map((time, i) => time / ours[i]), 1)} |`);
  }
