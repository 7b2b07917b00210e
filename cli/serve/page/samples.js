// The values of the samples, written onto their pixels once these are large enough to hold them.
import {get} from "./requests.js";

const leastSize = 30; // of a pixel, in units of the page
const most = 4096;    // samples in one request
const pause = 200;    // milliseconds between two requests

let shown = null;
let isAsking = false;
let askedAt = 0;
let redraw = () => {};

function visible(view, bitmap, canvas) {
  const x = Math.max(0, Math.floor(view.left));
  const y = Math.max(0, Math.floor(view.top));
  const width = Math.min(bitmap.width, Math.ceil(view.left + canvas.width / view.zoom)) - x;
  const height = Math.min(bitmap.height, Math.ceil(view.top + canvas.height / view.zoom)) - y;
  return {x, y, width, height};
}

async function ask(part) {
  if (isAsking || performance.now() - askedAt < pause) return;
  isAsking = true;
  askedAt = performance.now();
  try {
    shown = await get("pixels", part);
    redraw();
  } catch {
    shown = null;
  } finally {
    isAsking = false;
  }
}

function write(context, view, row, column, value) {
  const x = (shown.x + column + 0.5 - view.left) * view.zoom;
  const y = (shown.y + row + 0.5 - view.top) * view.zoom;
  context.strokeText(value, x, y);
  context.fillText(value, x, y);
}

export function drawSamples(context, view, bitmap, scale) {
  if (view.zoom / scale < leastSize) {
    shown = null;
    return;
  }
  const part = visible(view, bitmap, context.canvas);
  if (part.width < 1 || part.height < 1 || part.width * part.height > most) return;
  ask(part);
  if (!shown) return;
  context.font = `${Math.min(13 * scale, view.zoom / 3)}px ui-monospace, Consolas, "DejaVu Sans Mono", monospace`;
  context.textAlign = "center";
  context.textBaseline = "middle";
  context.lineJoin = "round";
  context.lineWidth = 3 * scale;
  context.strokeStyle = "rgb(0 0 0 / 75%)";
  context.fillStyle = "white";
  shown.samples.forEach((values, row) => {
    const each = values.length / shown.width; // colours have several samples a pixel
    for (let column = 0; column < shown.width; ++column) {
      write(context, view, row, column, values.slice(column * each, (column + 1) * each).join("/"));
    }
  });
}

export function wantsSamples(handler) {
  redraw = handler;
}
