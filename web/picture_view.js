// The picture on its canvas: zoom, pixel grid, and the pixel that is pointed at.
'use strict';

const GRID_FROM = 8;      // screen pixels for a pixel
const MOST_ZOOM = 64;

class PictureView {
  // `onPoint(x, y)` is told which pixel is pointed at.
  constructor(canvas, onPoint, onZoom) {
    Object.assign(this, { canvas, onPoint, onZoom, bitmap: null, width: 0, height: 0, scale: 0, left: 0, top: 0, point: [0, 0] });
    this.isPointShown = false;
    canvas.addEventListener('wheel', (event) => this.wheel(event), { passive: false });
    canvas.addEventListener('pointerdown', (event) => this.startDrag(event));
    canvas.addEventListener('pointermove', (event) => this.move(event));
    canvas.addEventListener('pointerup', () => { this.drag = null; });
    new ResizeObserver(() => this.draw()).observe(canvas);
  }

  // A picture of width x height pixels; the bitmap may have fewer.
  show(bitmap, width = bitmap.width, height = bitmap.height) {
    const isOther = this.width !== width || this.height !== height;
    if (this.bitmap) this.bitmap.close();
    Object.assign(this, { bitmap, width, height });
    if (isOther && this.scale !== 0) this.keepInside();
    this.draw();
  }

  fit() { this.scale = 0; this.draw(); }

  get fitScale() {
    const { clientWidth, clientHeight } = this.canvas;
    return Math.min(clientWidth / this.width, clientHeight / this.height);
  }

  // How many pixels of the picture, in either direction, one of the screen shows.
  get pixelsInOne() { return this.bitmap ? 1 / (this.place.scale * (window.devicePixelRatio || 1)) : 0; }

  // Where the picture lies on the canvas, in CSS pixels.
  get place() {
    const { clientWidth, clientHeight } = this.canvas;
    const scale = this.scale || this.fitScale;
    const width = this.width * scale, height = this.height * scale;
    const x = width <= clientWidth ? (clientWidth - width) / 2 : -this.left * scale;
    const y = height <= clientHeight ? (clientHeight - height) / 2 : -this.top * scale;
    return { scale, x, y, width, height };
  }

  keepInside() {
    const { clientWidth, clientHeight } = this.canvas;
    const limit = (value, size, view) => Math.max(0, Math.min(value, size - view / this.scale));
    this.left = limit(this.left, this.width, clientWidth);
    this.top = limit(this.top, this.height, clientHeight);
  }

  // Zooms by a factor; the pixel at (x, y) of the canvas stays where it is.
  zoom(factor, x = this.canvas.clientWidth / 2, y = this.canvas.clientHeight / 2) {
    if (!this.bitmap) return;
    const before = this.place;
    const column = (x - before.x) / before.scale, row = (y - before.y) / before.scale;
    this.scale = Math.max(Math.min(this.fitScale, 1), Math.min(MOST_ZOOM, before.scale * factor));
    this.left = column - x / this.scale;
    this.top = row - y / this.scale;
    this.keepInside();
    this.draw();
  }

  oneToOne() { if (this.bitmap) this.zoom(1 / this.place.scale); }

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
    const { x, y, scale } = this.place;
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
    const { canvas, bitmap } = this;
    const density = window.devicePixelRatio || 1;
    canvas.width = Math.round(canvas.clientWidth * density);
    canvas.height = Math.round(canvas.clientHeight * density);
    if (canvas.width === 0) return;
    const context = canvas.getContext('2d');
    const { scale, x, y, width, height } = this.place;
    context.scale(density, density);
    context.imageSmoothingEnabled = scale < 1;
    context.imageSmoothingQuality = 'medium';
    // Only what is seen: a zoomed picture may be larger than any canvas.
    const left = Math.max(0, Math.floor(-x / scale)), top = Math.max(0, Math.floor(-y / scale));
    const right = Math.min(this.width, Math.ceil((canvas.clientWidth - x) / scale));
    const bottom = Math.min(this.height, Math.ceil((canvas.clientHeight - y) / scale));
    const across = bitmap.width / this.width, down = bitmap.height / this.height;
    context.drawImage(bitmap, left * across, top * down, (right - left) * across, (bottom - top) * down,
      x + left * scale, y + top * scale, (right - left) * scale, (bottom - top) * scale);
    if (scale >= GRID_FROM) this.drawGrid(context, { left, top, right, bottom, x, y, scale });
    if (this.isPointShown) this.drawPoint(context, x, y, scale);
    this.onZoom(this.scale === 0 ? `fit, ${percent(scale)}` : percent(scale));
    canvas.dataset.drawn = `${width}x${height}`;
  }

  drawGrid(context, { left, top, right, bottom, x, y, scale }) {
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

const percent = (scale) => `${scale < 0.1 ? (100 * scale).toFixed(1) : Math.round(100 * scale)} %`;
