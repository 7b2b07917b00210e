// Register-setting and parameter files: dropped or chosen, examined, then played.
import {$, make, on, setText} from "./dom.js";
import {act, send} from "./requests.js";
import {propose, readParameters} from "./parameters.js";

const largest = 1 << 20; // bytes; the server takes no more
let chosen = null;       // {file, kind}

const kindOf = (name) => (/dat$/i.test(name) ? "parameters" : "registers");
const title = {registers: "Register-setting file", parameters: "Capture-parameter file"};

function remarkOf(remark) {
  const place = remark.line ? `line ${remark.line}` : "whole file";
  return make("li", {}, make("span", {class: "place"}, place), remark.subject ? `${remark.subject} ` : "", remark.text);
}

function contentOf(kind, answer) {
  if (kind === "registers") return answer.lines.map((line) => `${String(line.line).padStart(5)}  ${line.text}`).join("\n");
  return Object.entries(answer.parameters ?? {}).map(([key, value]) => `${key.padEnd(13)}${String(value).padStart(6)}`).join("\n");
}

function show(file, kind, answer) {
  $("file").hidden = false;
  setText($("file-name"), file.name);
  setText($("file-kind"), title[kind]);
  const remarks = answer.remarks ?? [];
  $("file-remarks").replaceChildren(...remarks.map(remarkOf));
  setText($("file-verdict"), remarks.length ? `${remarks.length} suspicious` : "nothing suspicious");
  $("file-verdict").classList.toggle("is-bad", remarks.length > 0);
  setText($("file-content"), contentOf(kind, answer));
  setText($("file-play"), kind === "registers" ? "Play" : "Apply");
  setText($("file-done"), "");
}

// Looks at a file without touching the board.
async function examine(file) {
  const kind = kindOf(file.name);
  chosen = null;
  if (file.size > largest) throw new Error(`${file.name} is too large to be a ${title[kind].toLowerCase()}`);
  // The bytes are read now, so that what is played is what was examined.
  const bytes = new Blob([await file.arrayBuffer()]);
  const answer = await send("POST", `files/${kind}`, bytes, kind === "registers" ? {play: false} : {apply: false});
  chosen = {bytes, kind, name: file.name};
  show(file, kind, answer);
  setText($("announcement"), `${file.name}: ${$("file-verdict").textContent}.`);
  if (kind === "parameters" && answer.parameters) propose(answer.parameters);
  $("file").scrollIntoView({block: "nearest"});
}

function open(files) {
  $("file").hidden = true;
  return act($("file-choose"), async () => {
    for (const file of files) await examine(file);
  });
}

function play() {
  if (!chosen) return undefined;
  const {bytes, kind, name} = chosen;
  return act($("file-play"), async () => {
    await send("POST", `files/${kind}`, bytes, kind === "registers" ? {play: true} : {apply: true});
    const done = kind === "registers" ? "played" : "applied";
    setText($("file-done"), done);
    setText($("announcement"), `${name} is ${done}.`);
    if (kind === "parameters") await readParameters();
  });
}

function close() {
  chosen = null;
  $("file").hidden = true;
  $("file-choose").focus();
}

// ---- drops, anywhere on the page

let depth = 0;

const hasFiles = (event) => event.dataTransfer?.types.includes("Files");

function showTarget(isOver) {
  document.body.classList.toggle("is-dropping", isOver);
}

function startDrops() {
  addEventListener("dragenter", (event) => {
    if (!hasFiles(event)) return;
    depth += 1;
    showTarget(true);
    event.preventDefault();
  });
  addEventListener("dragleave", (event) => {
    if (!hasFiles(event)) return;
    depth = Math.max(0, depth - 1);
    showTarget(depth > 0);
  });
  addEventListener("dragover", (event) => hasFiles(event) && event.preventDefault());
  addEventListener("drop", (event) => {
    if (!hasFiles(event)) return;
    event.preventDefault();
    depth = 0;
    showTarget(false);
    open([...event.dataTransfer.files]);
  });
}

export function startFiles() {
  startDrops();
  on("file-choose", "click", () => $("file-input").click());
  on("file-input", "change", async (event) => {
    await open([...event.target.files]);
    event.target.value = ""; // so that the same file can be chosen again
  });
  on("file-play", "click", play);
  on("file-close", "click", close);
}
