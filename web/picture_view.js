// The picture on its canvas: zoom, pixel grid, and the pixel that is pointed at.
'use strict';

const GRID_FROM = 8;      // screen pixels for a pixel
const MOST_ZOOM = 64;

class PictureView {
  // `onPoint(x, y)` is told which pixel is pointed at.
  constructor(canvas, onPoint, onZoom) {
    Object.assign(this, { canvas, onPoint, onZoom, layers: [], width: 0, height: 0, scale: 0, left: 0, top: 0, point: [0, 0] });
    this.isPointShown = false;
    canvas.addEventListener('wheel', (event) => this.wheel(event), { passive: false });
    canvas.addEventListener('pointerdown', (event) => this.startDrag(event));
    canvas.addEventListener('pointermove', (event) => this.move(event));
    canvas.addEventListener('pointerup', () => { this.drag = null; });
    new ResizeObserver(() => this.draw()).observe(canvas);
  }

  // A picture of width x height pixels, or an area of it, which covers the one before as long as the
  // size is the same; the bitmap may have fewer pixels.
  show(bitmap, width = bitmap.width, height = bitmap.height, area = { left: 0, top: 0, width, height }) {
    const isOther = this.width !== width || this.height !== height;
    const isWhole = area.width === width && area.height === height;
    const kept = isOther || isWhole ? [] : this.layers.slice(0, 1);
    for (const old of this.layers) if (!kept.includes(old)) old.bitmap.close();
    Object.assign(this, { layers: [...kept, { bitmap, area }], width, height });
    if (isOther && this.scale !== 0) this.keepInside();
    this.draw();
  }

  // The bitmap that was shown last.
  get bitmap() { return this.layers.length > 0 ? this.layers.at(-1).bitmap : null; }

  fit() { this.scale = 0; this.draw(); }

  fitScale({ width, height } = this) {
    const { clientWidth, clientHeight } = this.canvas;
    return Math.min(clientWidth / width, clientHeight / height);
  }

  // Where the picture, or one of another size, lies on the canvas, in CSS pixels.
  place(size = this) {
    const { clientWidth, clientHeight } = this.canvas;
    const scale = this.scale || this.fitScale(size);
    const width = size.width * scale, height = size.height * scale;
    const begin = (from, length, room) => (length <= room ? (room - length) / 2 : -inside(from, length / scale, room / scale) * scale);
    return { scale, x: begin(this.left, width, clientWidth), y: begin(this.top, height, clientHeight), width, height };
  }

  // Which of its pixels are seen, and how many of them, in either direction, one of the screen shows.
  seen(size = this) {
    const { clientWidth, clientHeight } = this.canvas;
    const { scale, x, y } = this.place(size);
    const left = Math.max(0, Math.floor(-x / scale)), top = Math.max(0, Math.floor(-y / scale));
    const right = Math.min(size.width, Math.ceil((clientWidth - x) / scale));
    const bottom = Math.min(size.height, Math.ceil((clientHeight - y) / scale));
    return { area: { left, top, width: right - left, height: bottom - top }, pixelsInOne: 1 / (scale * (window.devicePixelRatio || 1)) };
  }

  keepInside() {
    const { clientWidth, clientHeight } = this.canvas;
    this.left = inside(this.left, this.width, clientWidth / this.scale);
    this.top = inside(this.top, this.height, clientHeight / this.scale);
  }

  // Zooms by a factor; the pixel at (x, y) of the canvas stays where it is.
  zoom(factor, x = this.canvas.clientWidth / 2, y = this.canvas.clientHeight / 2) {
    if (!this.bitmap) return;
    const before = this.place();
    const column = (x - before.x) / before.scale, row = (y - before.y) / before.scale;
    this.scale = Math.max(Math.min(this.fitScale(), 1), Math.min(MOST_ZOOM, before.scale * factor));
    this.left = column - x / this.scale;
    this.top = row - y / this.scale;
    this.keepInside();
    this.draw();
  }

  oneToOne() { if (this.bitmap) this.zoom(1 / this.place().scale); }

  wheel(event) {
    event.preventDefault();
    const { left, top } = this.canvas.getBoundingClientRect();
    this.zoom(2 ** (-Math.sign(event.deltaY) / 2), event.clientX - left, event.clientY - top);
  }

  startDrag(event) {
    this.canvas.setPointerCapture(event.pointerId);
    this.drag = [event.clientX, event.clientY];
    this.move(event);
  }

  move(event) {
    if (!this.bitmap) return;
    if (this.drag && this.scale) {
      this.left -= (event.clientX - this.drag[0]) / this.scale;
      this.top -= (event.clientY - this.drag[1]) / this.scale;
      this.drag = [event.clientX, event.clientY];
      this.keepInside();
    }
    const { left, top } = this.canvas.getBoundingClientRect();
    const { x, y, scale } = this.place();
    this.pointAt(Math.floor((event.clientX - left - x) / scale), Math.floor((event.clientY - top - y) / scale));
  }

  pointAt(x, y) {
    if (!this.bitmap) return;
    this.point = [Math.max(0, Math.min(x, this.width - 1)), Math.max(0, Math.min(y, this.height - 1))];
    this.isPointShown = true;
    this.onPoint(...this.point);
    this.draw();
  }

  // By keys: the view follows.
  step(dx, dy) {
    if (!this.bitmap) return;
    this.pointAt(this.point[0] + dx, this.point[1] + dy);
    if (!this.scale) return;
    const across = this.canvas.clientWidth / this.scale, down = this.canvas.clientHeight / this.scale;
    const [x, y] = this.point;
    if (x < this.left || x + 1 > this.left + across) this.left = x - across / 2;
    if (y < this.top || y + 1 > this.top + down) this.top = y - down / 2;
    this.keepInside();
    this.draw();
  }

  draw() {
    if (this.isDrawing || !this.bitmap) return;
    this.isDrawing = true;
    requestAnimationFrame(() => {
      this.isDrawing = false;
      this.drawNow();
    });
  }

  drawNow() {
    const { canvas } = this;
    const density = window.devicePixelRatio || 1;
    canvas.width = Math.round(canvas.clientWidth * density);
    canvas.height = Math.round(canvas.clientHeight * density);
    if (canvas.width === 0) return;
    const context = canvas.getContext('2d');
    const { scale, x, y, width, height } = this.place();
    context.scale(density, density);
    context.imageSmoothingEnabled = scale < 1;
    context.imageSmoothingQuality = 'medium';
    // Only what is seen: a zoomed picture may be larger than any canvas.
    const seen = this.seen().area;
    for (const { bitmap, area } of this.layers) {
      const { left, top, width: columns, height: rows } = common(seen, area);
      if (columns <= 0 || rows <= 0) continue;
      const across = bitmap.width / area.width, down = bitmap.height / area.height;
      context.drawImage(bitmap, (left - area.left) * across, (top - area.top) * down, columns * across, rows * down,
        x + left * scale, y + top * scale, columns * scale, rows * scale);
    }
    if (scale >= GRID_FROM) this.drawGrid(context, seen, x, y, scale);
    if (this.isPointShown) this.drawPoint(context, x, y, scale);
    this.onZoom(this.scale === 0 ? `fit, ${percent(scale)}` : percent(scale));
    canvas.dataset.drawn = `${width}x${height}`;
  }

  drawGrid(context, { left, top, width, height }, x, y, scale) {
    const right = left + width, bottom = top + height;
    context.beginPath();
    for (let column = left; column <= right; ++column) {
      context.moveTo(x + column * scale, y + top * scale);
      context.lineTo(x + column * scale, y + bottom * scale);
    }
    for (let row = top; row <= bottom; ++row) {
      context.moveTo(x + left * scale, y + row * scale);
      context.lineTo(x + right * scale, y + row * scale);
    }
    context.strokeStyle = 'rgb(128 128 128 / 60%)';
    context.lineWidth = 1;
    context.stroke();
  }

  drawPoint(context, x, y, scale) {
    const size = Math.max(scale, 5);
    const left = x + (this.point[0] + 0.5) * scale - size / 2, top = y + (this.point[1] + 0.5) * scale - size / 2;
    for (const [colour, width] of [['#000', 3], ['#fff', 1]]) {
      context.strokeStyle = colour;
      context.lineWidth = width;
      context.strokeRect(left, top, size, size);
    }
  }
}

// Where a part of `part` begins that is to begin at `value`, within a whole of `whole`.
const inside = (value, whole, part) => Math.max(0, Math.min(value, whole - part));

function common(a, b) {
  const left = Math.max(a.left, b.left), top = Math.max(a.top, b.top);
  return {
    left, top,
    width: Math.min(a.left + a.width, b.left + b.width) - left,
    height: Math.min(a.top + a.height, b.top + b.height) - top,
  };
}

const percent = (scale) => `${scale < 0.1 ? (100 * scale).toFixed(1) : Math.round(100 * scale)} %`;
