// The capture parameters as a form, with the frame size that follows from them.
import {$, figure, make, on, setText} from "./dom.js";
import {act, get, listen, newest, send, tell} from "./requests.js";

const groups = [
  ["Area", [["HOFF", "first column"], ["HCNT", "columns"], ["VOFF", "first line"], ["VCNT", "lines"],
            ["HREDUCT", "skip columns"], ["VREDUCT", "skip lines"]]],
  ["Samples", [["BITWIDTH", "bits a sample"], ["PORTMSBBIT", "top data bit"], ["INPUTFORMAT", "format"],
               ["SPACK", "packing"], ["HWEXCHG", "conversion"], ["B2R", "Bayer to RGB"]]],
  ["Port", [["CAMPORT", "sensor port"], ["SYNCMODE", "codes in data"], ["HPOR", "line polarity"], ["VPOR", "frame polarity"],
            ["SMIAIN", "serial input"], ["SMIACLASS", "serial class"]]],
  ["Codes", [["SOLCODE", "line start"], ["EOLCODE", "line end"], ["SOFCODE", "frame start"], ["EOFCODE", "frame end"]]],
  ["Frames and notes", [["FRMSKP", "skip frames"], ["FRMDROP", "stored only"], ["CAMERAFORMAT", "for programs"],
                        ["EXCHGFORMAT", "for programs"]]],
];
const keys = groups.flatMap(([, fields]) => fields.map(([key]) => key));
const pause = 250; // milliseconds after the last key until the size is asked for

let applied = {};
let timer = 0;

const field = (key) => $(`parameter-${key}`);

function makeField([key, words]) {
  const input = make("input", {id: `parameter-${key}`, name: key, type: "number", min: 0, max: 65535, step: 1, required: true, inputMode: "numeric",
                               autocomplete: "off", "aria-describedby": `about-${key}`});
  input.addEventListener("input", changed);
  return make("div", {class: "field"}, make("label", {htmlFor: input.id}, key), input, make("span", {id: `about-${key}`, class: "about"}, words));
}

function makeForm() {
  for (const [title, fields] of groups) {
    $("parameter-fields").append(make("fieldset", {class: "fields"}, make("legend", {}, title), ...fields.map(makeField)));
  }
}

function differing() {
  const wish = {};
  for (const key of keys) {
    const input = field(key);
    if (input.value !== "" && input.validity.valid && Number(input.value) !== applied[key]) wish[key] = Number(input.value);
  }
  return wish;
}

function mark() {
  const wish = differing();
  for (const key of keys) field(key).classList.toggle("is-changed", key in wish);
  const count = Object.keys(wish).length;
  setText($("parameter-changes"), count ? `${count} not applied` : "");
  $("parameters-revert").disabled = count === 0;
  return wish;
}

function showFrame(frame) {
  setText($("frame-size"), frame ? `${figure(frame.width)} × ${figure(frame.height)}, ${figure(frame.bytes)} bytes` : "no size");
  $("frame-size").classList.toggle("is-bad", !frame);
}

function show(answer) {
  applied = answer.parameters;
  for (const key of keys) field(key).value = applied[key] ?? 0;
  showFrame(answer.frame);
  mark();
  tell("parameters", answer);
}

// Values of a file: they stand in the form and are not applied yet.
export function propose(parameters) {
  for (const key of keys) if (key in parameters) field(key).value = parameters[key];
  changed();
}

async function preview() {
  const wish = mark();
  try {
    showFrame((await send("PUT", "parameters", {parameters: wish, apply: false})).frame);
    setText($("parameter-problem"), "");
  } catch (error) {
    showFrame(null);
    setText($("parameter-problem"), error.message);
  }
}

function changed() {
  clearTimeout(timer);
  mark();
  timer = setTimeout(preview, pause);
}

export function readParameters() {
  return act($("parameters-read"), async () => show(await get("parameters")));
}

function apply(event) {
  event.preventDefault();
  clearTimeout(timer);
  const wish = Object.fromEntries(keys.map((key) => [key, Number(field(key).value)]));
  act($("parameters-apply"), async () => {
    show(await send("PUT", "parameters", {parameters: wish, apply: true}));
    setText($("parameter-problem"), "");
    setText($("announcement"), "The capture parameters are applied.");
  });
}

export function startParameters() {
  makeForm();
  on("parameter-form", "submit", apply);
  on("parameters-read", "click", readParameters);
  on("parameters-revert", "click", () => {
    for (const key of keys) field(key).value = applied[key] ?? 0;
    changed();
  });
  let wasConnected = false;
  listen("state", ({board}) => {
    if (board.connected && !wasConnected && !Object.keys(newest("parameters") ?? {}).length) readParameters();
    wasConnected = board.connected;
  });
}
