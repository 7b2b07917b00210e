// Plots on canvases, in the colours of the style sheet.

const channelColours = {R: "--red", Gr: "--green", G: "--green", Gb: "--teal", B: "--blue", Y: "--text", U: "--blue", V: "--red"};

export const colourOf = (style, name) => style.getPropertyValue(channelColours[name] ?? "--text");

// Fits a canvas to its box, and clears it.
function prepare(canvas) {
  const scale = devicePixelRatio || 1;
  const width = Math.max(1, Math.round(canvas.clientWidth * scale));
  const height = Math.max(1, Math.round(canvas.clientHeight * scale));
  if (canvas.width !== width) canvas.width = width;
  if (canvas.height !== height) canvas.height = height;
  const context = canvas.getContext("2d");
  context.setTransform(scale, 0, 0, scale, 0, 0);
  context.clearRect(0, 0, canvas.clientWidth, canvas.clientHeight);
  context.lineJoin = "round";
  return {context, width: canvas.clientWidth, height: canvas.clientHeight, style: getComputedStyle(canvas)};
}

function verticalLines(context, style, width, height, parts) {
  context.strokeStyle = style.getPropertyValue("--line");
  context.lineWidth = 1;
  context.beginPath();
  for (let i = 1; i < parts; ++i) {
    const x = Math.round((width * i) / parts) + 0.5;
    context.moveTo(x, 0);
    context.lineTo(x, height);
  }
  context.stroke();
}

// channels: [{name, histogram}]
export function drawHistogram(canvas, channels, isLogarithmic) {
  const {context, width, height, style} = prepare(canvas);
  verticalLines(context, style, width, height, 8);
  const share = (count) => (isLogarithmic ? Math.log1p(count) : count);
  const top = Math.max(1, ...channels.flatMap((channel) => channel.histogram.map(share)));
  for (const channel of channels) {
    const colour = colourOf(style, channel.name);
    const last = channel.histogram.length - 1;
    const path = new Path2D();
    channel.histogram.forEach((count, i) => {
      const x = (i / last) * width;
      const y = height - 1 - (share(count) / top) * (height - 4);
      if (i === 0) path.moveTo(x, y);
      else path.lineTo(x, y);
    });
    context.strokeStyle = colour;
    context.lineWidth = 1.25;
    context.stroke(path);
    path.lineTo(width, height);
    path.lineTo(0, height);
    context.globalAlpha = 0.12;
    context.fillStyle = colour;
    context.fill(path);
    context.globalAlpha = 1;
  }
}

// points: [{time, value}] of the last span seconds; the newest is at the right edge.
export function drawHistory(canvas, points, now, span, isFromZero) {
  const {context, width, height, style} = prepare(canvas);
  verticalLines(context, style, width, height, 4);
  if (points.length < 2) return;
  const values = points.map((point) => point.value);
  let least = isFromZero ? 0 : Math.min(...values);
  let greatest = Math.max(...values);
  const room = Math.max((greatest - least) * 0.1, Math.abs(greatest) * 0.01, 1e-6);
  greatest += room;
  if (!isFromZero) least -= room;
  context.beginPath();
  points.forEach((point, i) => {
    const x = width - ((now - point.time) / span) * width;
    const y = height - 1 - ((point.value - least) / (greatest - least)) * (height - 2);
    if (i === 0) context.moveTo(x, y);
    else context.lineTo(x, y);
  });
  context.strokeStyle = style.getPropertyValue("--accent");
  context.lineWidth = 1.5;
  context.stroke();
}
