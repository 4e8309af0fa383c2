// PNG files: rows filtered by differences to the left, deflated by the browser.
'use strict';

const CRC_TABLE = Uint32Array.from({ length: 256 }, (_, n) => {
  for (let bit = 0; bit < 8; ++bit) n = n & 1 ? 0xedb88320 ^ (n >>> 1) : n >>> 1;
  return n;
});

function crc32(bytes) {
  let crc = 0xffffffff;
  for (const byte of bytes) crc = CRC_TABLE[(crc ^ byte) & 255] ^ (crc >>> 8);
  return ~crc >>> 0;
}

function chunk(type, data) {
  const bytes = new Uint8Array(data.length + 12);
  const view = new DataView(bytes.buffer);
  view.setUint32(0, data.length);
  for (let i = 0; i < 4; ++i) bytes[4 + i] = type.charCodeAt(i);
  bytes.set(data, 8);
  view.setUint32(data.length + 8, crc32(bytes.subarray(4, data.length + 8)));
  return bytes;
}

// Words of WebAssembly have their low byte first, those of PNG their high byte.
function swapWords(bytes) {
  for (let i = 0; i < bytes.length; i += 2) [bytes[i], bytes[i + 1]] = [bytes[i + 1], bytes[i]];
}

function filteredRows(pixels, rowBytes, height, pixelBytes) {
  const rows = new Uint8Array((rowBytes + 1) * height);
  for (let y = 0; y < height; ++y) {
    const from = y * rowBytes, to = y * (rowBytes + 1) + 1;
    rows[to - 1] = 1;
    for (let i = 0; i < pixelBytes; ++i) rows[to + i] = pixels[from + i];
    for (let i = pixelBytes; i < rowBytes; ++i) rows[to + i] = pixels[from + i] - pixels[from + i - pixelBytes];
  }
  return rows;
}

// `pixels` are overwritten. channels: 1 or 3.
async function encodePng(pixels, width, height, channels, channelBytes) {
  if (channelBytes === 2) swapWords(pixels);
  const pixelBytes = channels * channelBytes;
  const rows = new Blob([filteredRows(pixels, width * pixelBytes, height, pixelBytes)]);
  const deflated = new Response(rows.stream().pipeThrough(new CompressionStream('deflate')));
  const header = new Uint8Array(13);
  const view = new DataView(header.buffer);
  view.setUint32(0, width);
  view.setUint32(4, height);
  header.set([8 * channelBytes, channels === 3 ? 2 : 0], 8);
  return new Blob([
    Uint8Array.of(0x89, 0x50, 0x4e, 0x47, 13, 10, 26, 10),
    chunk('IHDR', header),
    chunk('IDAT', new Uint8Array(await deflated.arrayBuffer())),
    chunk('IEND', new Uint8Array(0)),
  ], { type: 'image/png' });
}
