// The live picture: shows the newest frame, zooms, pans, reads pixels and measures a rectangle.
import {$, figure, on, setText} from "./dom.js";
import {get, listen, tell} from "./requests.js";
import {drawSamples, wantsSamples} from "./samples.js";

const canvas = $("picture");
const context = canvas.getContext("2d", {alpha: false});
const probe = new OffscreenCanvas(1, 1).getContext("2d", {willReadFrequently: true});
const largestZoom = 64;

// zoom: view pixels a picture pixel; left, top: the picture's place at the view's corner.
const view = {zoom: 1, left: 0, top: 0, isFitted: true};
let bitmap = null;
let header = null;
let waiting = null; // the newest frame that came while others were decoded
let decoding = 0;
let lastDecoded = 0; // by the order in which the frames came
let arrived = 0;
let isDrawn = true;
let cursor = null;
let rectangle = null;
let corner = null; // of a rectangle that is being drawn
let isMeasuring = false;
let sample = null;
let isSampling = false;
const shownAt = []; // moments at which the last frames were shown
const pointers = new Map();

// ---- place

const scale = () => devicePixelRatio || 1;
const clamp = (value, least, greatest) => Math.min(Math.max(value, least), greatest);

function fitZoom() {
  return Math.min(canvas.width / bitmap.width, canvas.height / bitmap.height);
}

function place() {
  if (!bitmap) return;
  if (view.isFitted) view.zoom = fitZoom();
  const settle = (size, extent, wish) => {
    const seen = extent / view.zoom;
    return seen >= size ? (size - seen) / 2 : clamp(wish, 0, size - seen);
  };
  view.left = settle(bitmap.width, canvas.width, view.left);
  view.top = settle(bitmap.height, canvas.height, view.top);
  // Whole view pixels, so that a picture pixel at 100 % is one pixel of the view.
  view.left = Math.round(view.left * view.zoom) / view.zoom;
  view.top = Math.round(view.top * view.zoom) / view.zoom;
}

function toPicture(event) {
  const box = canvas.getBoundingClientRect();
  return {
    x: view.left + ((event.clientX - box.left) * scale()) / view.zoom,
    y: view.top + ((event.clientY - box.top) * scale()) / view.zoom,
  };
}

const pixelAt = (point) => ({
  x: clamp(Math.floor(point.x), 0, bitmap.width - 1),
  y: clamp(Math.floor(point.y), 0, bitmap.height - 1),
});

// Zooms so that the picture's point stays where it is.
function zoomTo(zoom, point) {
  if (!bitmap) return;
  const before = view.zoom;
  const least = Math.min(fitZoom(), 1);
  view.zoom = clamp(zoom, least, largestZoom);
  view.isFitted = view.zoom === fitZoom();
  view.left = point.x - ((point.x - view.left) * before) / view.zoom;
  view.top = point.y - ((point.y - view.top) * before) / view.zoom;
  redraw();
}

const middle = () => ({x: view.left + canvas.width / view.zoom / 2, y: view.top + canvas.height / view.zoom / 2});
const centreOfInterest = () => (cursor ? {x: cursor.x + 0.5, y: cursor.y + 0.5} : middle());

export function zoomBy(factor) {
  zoomTo(view.zoom * factor, centreOfInterest());
}

export function fit() {
  view.isFitted = true;
  redraw();
}

export function actualSize() {
  zoomTo(1, centreOfInterest());
}

function pan(x, y) {
  view.left += x;
  view.top += y;
  view.isFitted = view.isFitted && view.zoom === fitZoom();
  redraw();
}

// ---- drawing

function redraw() {
  if (!isDrawn) return;
  isDrawn = false;
  requestAnimationFrame(draw);
}

function sizeCanvas() {
  const box = canvas.getBoundingClientRect();
  const width = Math.max(1, Math.round(box.width * scale()));
  const height = Math.max(1, Math.round(box.height * scale()));
  if (canvas.width !== width) canvas.width = width;
  if (canvas.height !== height) canvas.height = height;
}

function draw() {
  isDrawn = true;
  sizeCanvas();
  const style = getComputedStyle(canvas);
  context.fillStyle = style.getPropertyValue("--picture-ground");
  context.fillRect(0, 0, canvas.width, canvas.height);
  if (!bitmap) return;
  place();
  context.imageSmoothingEnabled = view.zoom < 1;
  context.imageSmoothingQuality = "medium";
  context.drawImage(bitmap, -view.left * view.zoom, -view.top * view.zoom, bitmap.width * view.zoom, bitmap.height * view.zoom);
  drawSamples(context, view, bitmap, scale());
  drawMarks(style.getPropertyValue("--mark"));
  canvas.dataset.frame = header.number;
  canvas.dataset.zoom = view.zoom;
  canvas.dataset.left = view.left;
  canvas.dataset.top = view.top;
  setText($("zoom"), `${figure(view.zoom * 100, view.zoom < 0.1 ? 1 : 0)} %`);
  $("picture").classList.toggle("is-pannable", !view.isFitted || isMeasuring);
}

function strokeTwice(colour, path) {
  context.lineWidth = 3 * scale();
  context.strokeStyle = "rgb(0 0 0 / 60%)";
  context.stroke(path);
  context.lineWidth = 1.25 * scale();
  context.strokeStyle = colour;
  context.stroke(path);
}

function drawMarks(colour) {
  if (rectangle) {
    const path = new Path2D();
    path.rect((rectangle.x - view.left) * view.zoom, (rectangle.y - view.top) * view.zoom, rectangle.width * view.zoom,
              rectangle.height * view.zoom);
    strokeTwice(colour, path);
  }
  if (cursor && document.activeElement === canvas) {
    const x = (cursor.x + 0.5 - view.left) * view.zoom;
    const y = (cursor.y + 0.5 - view.top) * view.zoom;
    const [inner, outer] = [4 * scale() + view.zoom / 2, 14 * scale() + view.zoom / 2];
    const path = new Path2D();
    for (const [dx, dy] of [[1, 0], [-1, 0], [0, 1], [0, -1]]) {
      path.moveTo(x + dx * inner, y + dy * inner);
      path.lineTo(x + dx * outer, y + dy * outer);
    }
    strokeTwice(colour, path);
  }
}

// ---- frames

// Two at a time, on the browser's own threads; a frame that is overtaken is not shown.
async function decode() {
  decoding += 1;
  while (waiting) {
    const next = waiting;
    waiting = null;
    try {
      show(next, await createImageBitmap(next.blob));
    } catch {
      tell("problem", {title: "a frame could not be decoded", detail: `Frame ${next.header.number} is no picture.`});
    }
  }
  decoding -= 1;
}

function show(next, decoded) {
  if (next.order < lastDecoded) {
    decoded.close();
    return;
  }
  lastDecoded = next.order;
  bitmap?.close();
  bitmap = decoded;
  header = next.header;
  noteShown();
  setLabel();
  redraw();
  showPixel();
}

function noteShown() {
  const now = performance.now();
  shownAt.push(now);
  while (shownAt.length && now - shownAt[0] > 2000) shownAt.shift();
  $("no-picture").hidden = true;
  if (shownAt.length > 1) tell("shown", {rate: ((shownAt.length - 1) * 1000) / (now - shownAt[0]), header});
}

function setLabel() {
  const label = `Live picture, ${header.width} by ${header.height} pixels, ${header.bits} bits`;
  if (canvas.getAttribute("aria-label") !== label) canvas.setAttribute("aria-label", label);
}

// ---- pixel values

// One request at a time; the cursor that moved meanwhile comes next.
async function readPixel() {
  if (!cursor || !bitmap) return;
  cursor = pixelAt(cursor);
  showPixel();
  if (isSampling || document.hidden) return;
  isSampling = true;
  const at = {...cursor};
  try {
    const pixels = await get("pixels", {x: at.x, y: at.y, width: 1, height: 1});
    const colours = pixels.colours ?? "";
    const name = colours.length === 4 ? colourName(colours, at.x, at.y) : "";
    sample = {...at, value: pixels.samples[0].join(" "), name};
  } catch {
    sample = null;
  } finally {
    isSampling = false;
  }
  showPixel();
  if (cursor && (cursor.x !== at.x || cursor.y !== at.y)) readPixel();
}

// The two greens are told apart by the colour beside them in their row.
function colourName(cell, x, y) {
  const own = cell[(y % 2) * 2 + (x % 2)];
  return own === "G" ? `G${cell[(y % 2) * 2 + 1 - (x % 2)].toLowerCase()}` : own;
}

function showPixel() {
  if (!cursor || !bitmap) {
    setText($("pixel-place"), "–");
    setText($("pixel-sample"), "–");
    setText($("pixel-colour"), "–");
    return;
  }
  probe.drawImage(bitmap, cursor.x, cursor.y, 1, 1, 0, 0, 1, 1);
  const [red, green, blue] = probe.getImageData(0, 0, 1, 1).data;
  setText($("pixel-place"), `${cursor.x}, ${cursor.y}`);
  setText($("pixel-colour"), `${red} ${green} ${blue}`);
  const isCurrent = sample && sample.x === cursor.x && sample.y === cursor.y;
  setText($("pixel-sample"), isCurrent ? `${sample.value}${sample.name ? ` ${sample.name}` : ""}` : "…");
  $("swatch").style.backgroundColor = `rgb(${red} ${green} ${blue})`;
}

function moveCursor(point) {
  cursor = point;
  readPixel();
  redraw();
}

// ---- rectangle

export function setRectangle(value) {
  rectangle = value;
  for (const name of ["x", "y", "width", "height"]) $(`rectangle-${name}`).value = value ? value[name] : "";
  $("rectangle-clear").disabled = value === null;
  tell("rectangle", value);
  redraw();
}

function between(first, second) {
  const x = Math.min(first.x, second.x);
  const y = Math.min(first.y, second.y);
  return {x, y, width: Math.abs(first.x - second.x) + 1, height: Math.abs(first.y - second.y) + 1};
}

function typedRectangle() {
  const fields = ["x", "y", "width", "height"].map((name) => $(`rectangle-${name}`));
  if (fields.every((field) => field.value === "")) {
    setRectangle(null);
    return;
  }
  if (!bitmap || fields.some((field) => field.value === "")) return;
  const [x, y, width, height] = fields.map((field) => Math.trunc(Number(field.value)) || 0);
  const left = clamp(x, 0, bitmap.width - 1);
  const top = clamp(y, 0, bitmap.height - 1);
  setRectangle({x: left, y: top, width: clamp(width, 1, bitmap.width - left), height: clamp(height, 1, bitmap.height - top)});
}

export function measureMode(wish) {
  isMeasuring = wish;
  corner = null;
  $("measure").setAttribute("aria-pressed", String(wish));
  canvas.classList.toggle("is-measuring", wish);
  setText($("picture-hint"), wish ? "Drag a rectangle, or press Enter at two corners." : "");
  redraw();
}

export const isMeasureMode = () => isMeasuring;

// ---- pointer

function pinch(before) {
  const [first, second] = [...pointers.values()];
  const apart = (a, b) => Math.hypot(a.clientX - b.clientX, a.clientY - b.clientY);
  const now = apart(first, second);
  if (before > 0) zoomTo(view.zoom * (now / before), toPicture({clientX: (first.clientX + second.clientX) / 2,
                                                                clientY: (first.clientY + second.clientY) / 2}));
  return now;
}

let spread = 0;

function onDown(event) {
  if (event.button !== 0 || !bitmap) return;
  canvas.setPointerCapture(event.pointerId);
  pointers.set(event.pointerId, event);
  spread = 0;
  if (isMeasuring || event.shiftKey) corner = pixelAt(toPicture(event));
}

function onMove(event) {
  if (!bitmap) return;
  const held = pointers.get(event.pointerId);
  if (held) pointers.set(event.pointerId, event);
  if (pointers.size === 2) {
    spread = pinch(spread);
    return;
  }
  moveCursor(pixelAt(toPicture(event)));
  if (!held) return;
  if (corner) setRectangle(between(corner, cursor));
  else pan(((held.clientX - event.clientX) * scale()) / view.zoom, ((held.clientY - event.clientY) * scale()) / view.zoom);
}

function onUp(event) {
  pointers.delete(event.pointerId);
  if (corner && isMeasuring) measureMode(false);
  corner = null;
}

function onWheel(event) {
  if (!bitmap) return;
  event.preventDefault();
  zoomTo(view.zoom * 2 ** (-event.deltaY / (event.deltaMode === 0 ? 240 : 6)), toPicture(event));
}

// ---- keyboard

const steps = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]};

function onKey(event) {
  if (!bitmap || event.altKey) return;
  const step = steps[event.key];
  if (step && event.ctrlKey) {
    const far = 0.1 * canvas.width / view.zoom;
    pan(step[0] * far, step[1] * far);
  } else if (step) {
    const far = event.shiftKey ? 10 : 1;
    const from = cursor ?? pixelAt(middle());
    moveCursor(pixelAt({x: from.x + step[0] * far, y: from.y + step[1] * far}));
    if (corner) setRectangle(between(corner, cursor));
    follow();
  } else if (event.key === "Enter") {
    markCorner();
  } else {
    return;
  }
  event.preventDefault();
}

// Keeps the cursor in view.
function follow() {
  const seen = {width: canvas.width / view.zoom, height: canvas.height / view.zoom};
  if (cursor.x < view.left || cursor.x >= view.left + seen.width) view.left = cursor.x - seen.width / 2;
  if (cursor.y < view.top || cursor.y >= view.top + seen.height) view.top = cursor.y - seen.height / 2;
}

function markCorner() {
  if (!cursor) moveCursor(pixelAt(middle()));
  if (corner) {
    setRectangle(between(corner, cursor));
    measureMode(false);
  } else {
    measureMode(true);
    corner = {...cursor};
    setText($("picture-hint"), "First corner set: arrow keys, then Enter at the other corner.");
  }
}

// ---- start

export function startPicture() {
  listen("picture", (picture) => {
    arrived += 1;
    waiting = {...picture, order: arrived};
    if (decoding < 2) decode();
  });
  // Ten times a second at most, and once for a single frame.
  listen("analysis", readPixel);
  listen("state", (state) => {
    if (!state.capture.running) shownAt.length = 0;
  });
  canvas.addEventListener("pointerdown", onDown);
  canvas.addEventListener("pointermove", onMove);
  canvas.addEventListener("pointerup", onUp);
  canvas.addEventListener("pointercancel", onUp);
  canvas.addEventListener("wheel", onWheel, {passive: false});
  canvas.addEventListener("dblclick", (event) => (view.isFitted ? zoomTo(1, toPicture(event)) : fit()));
  canvas.addEventListener("keydown", onKey);
  canvas.addEventListener("focus", redraw);
  canvas.addEventListener("blur", redraw);
  new ResizeObserver(redraw).observe(canvas);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);
  on("zoom-in", "click", () => zoomBy(2));
  on("zoom-out", "click", () => zoomBy(0.5));
  on("zoom-fit", "click", fit);
  on("zoom-actual", "click", actualSize);
  on("measure", "click", () => measureMode(!isMeasuring));
  on("rectangle-clear", "click", () => {
    setRectangle(null);
    $("measure").focus();
  });
  for (const name of ["x", "y", "width", "height"]) on(`rectangle-${name}`, "change", typedRectangle);
  wantsSamples(redraw);
  redraw();
}

