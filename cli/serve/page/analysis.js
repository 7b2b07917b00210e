// Histogram, sharpness and statistics of the picture or a rectangle of it, and how they went lately.
import {$, figure, make, on, remember, recall, setText} from "./dom.js";
import {listen, newest} from "./bus.js";
import {colourOf, drawHistogram, drawHistory} from "./plots.js";

const span = 60; // seconds of history
const series = {
  rate: {points: [], decimals: 2, fromZero: true},
  sharpness: {points: [], decimals: 3, fromZero: false},
  mean: {points: [], decimals: 2, fromZero: false},
  lost: {points: [], decimals: 0, fromZero: true},
};
let best = null;
let wanted = null; // the rectangle that is asked for
let passedOver = 0;
const mostPassedOver = 20; // the server's rectangle may be another one, when the frames have become smaller
let isLogarithmic = recall("histogram.logarithmic", false);

// Numbers of the rectangle before may still be on their way.
function isOld({rectangle}) {
  const isOther = wanted !== null && ["x", "y", "width", "height"].some((name) => wanted[name] !== rectangle?.[name]);
  passedOver = isOther ? passedOver + 1 : 0;
  return isOther && passedOver <= mostPassedOver;
}

function note(name, value) {
  if (!Number.isFinite(value)) return;
  const now = performance.now() / 1000;
  const {points} = series[name];
  points.push({time: now, value});
  while (points.length && now - points[0].time > span) points.shift();
}

function meanOf(channels) {
  return channels.reduce((sum, channel) => sum + channel.mean, 0) / channels.length;
}

// Of the samples.
const percent = (share) => `${figure(share * 100, 1)} %`;

function cell(text, kind = "td") {
  return make(kind, kind === "th" ? {scope: "row"} : {}, text);
}

function rowOf(channel, style) {
  const name = cell("", "th");
  const key = make("span", {class: "key", "aria-hidden": "true"});
  key.style.backgroundColor = colourOf(style, channel.name);
  name.append(key, channel.name);
  return make("tr", {}, name, cell(figure(channel.least)), cell(figure(channel.greatest)), cell(figure(channel.mean, 2)),
              cell(figure(channel.deviation, 2)), cell(percent(channel.black)), cell(percent(channel.saturated)));
}

function showTable(channels) {
  const body = $("channels");
  const style = getComputedStyle(body);
  body.replaceChildren(...channels.map((channel) => rowOf(channel, style)));
}

function show(analysis) {
  showTable(analysis.channels);
  drawHistogram($("histogram"), analysis.channels, isLogarithmic);
  $("histogram").setAttribute("aria-label", `Histogram of ${analysis.channels.map((channel) => channel.name).join(", ")}; the table below has its numbers`);
  setText($("sharpness"), figure(analysis.sharpness, 3));
  setText($("sharpness-best"), best === null ? "–" : figure(best, 3));
  $("sharpness-share").value = best ? Math.max(0, Math.min(1, analysis.sharpness / best)) : 0;
  const part = analysis.rectangle;
  setText($("measured"), part ? `${part.width} × ${part.height} at ${part.x}, ${part.y}` : "whole frame");
}

function drawHistories() {
  const now = performance.now() / 1000;
  for (const [name, {points, decimals, fromZero}] of Object.entries(series)) {
    const canvas = $(`history-${name}`);
    drawHistory(canvas, points, now, span, fromZero);
    const last = points.at(-1)?.value ?? null;
    setText($(`history-${name}-value`), figure(last, decimals));
    const values = points.map((point) => point.value);
    const range = values.length ? `${figure(Math.min(...values), decimals)} to ${figure(Math.max(...values), decimals)}` : "no values yet";
    canvas.setAttribute("aria-label", `last minute: ${range}`);
  }
}

export function startAnalysis() {
  let lastLost = 0;
  $("logarithmic").checked = isLogarithmic;
  listen("analysis", (analysis) => {
    if (isOld(analysis)) return;
    if (best === null || analysis.sharpness > best) best = analysis.sharpness;
    note("sharpness", analysis.sharpness);
    if (analysis.channels.length) note("mean", meanOf(analysis.channels));
    if (!document.hidden) show(analysis);
  });
  listen("state", ({capture}) => {
    if (capture.running) note("rate", capture.rate);
    if (capture.running || capture.lost !== lastLost) note("lost", capture.lost);
    lastLost = capture.lost;
  });
  listen("rectangle", (rectangle) => {
    wanted = rectangle;
    passedOver = 0;
    best = null;
    series.sharpness.points.length = 0;
    series.mean.points.length = 0;
  });
  on("sharpness-reset", "click", () => {
    best = newest("analysis")?.sharpness ?? null;
    setText($("sharpness-best"), figure(best, 3));
  });
  on("logarithmic", "change", (event) => {
    isLogarithmic = event.target.checked;
    remember("histogram.logarithmic", isLogarithmic);
    if (newest("analysis")) show(newest("analysis"));
  });
  setInterval(() => document.hidden || drawHistories(), 500);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => newest("analysis") && show(newest("analysis")));
  drawHistories();
}
