// Requests to the driver, as they come.
import {$, on, save, setText} from "./dom.js";
import {listen} from "./bus.js";

const kept = 2000;
const shown = 300;
let lines = [];
let isStale = false;

function matching() {
  const word = $("trace-filter").value.trim().toLowerCase();
  return word ? lines.filter((line) => line.text.toLowerCase().includes(word)) : lines;
}

function show() {
  isStale = false;
  const found = matching();
  const box = $("trace");
  const isAtEnd = box.scrollHeight - box.scrollTop - box.clientHeight < 24;
  setText(box, found.slice(-shown).map((line) => `${String(line.number).padStart(7)}  ${line.text}`).join("\n"));
  if (isAtEnd) box.scrollTop = box.scrollHeight;
  setText($("trace-count"), `${found.length} of the last ${lines.length} requests`);
}

function showSoon() {
  if (isStale || $("trace-pause").checked) return;
  isStale = true;
  setTimeout(show, 100);
}

export function startTrace() {
  listen("trace", (news) => {
    const before = lines.at(-1)?.number ?? 0;
    lines.push(...news.lines.filter((line) => line.number > before));
    if (lines.length > kept) lines = lines.slice(-kept);
    showSoon();
  });
  on("trace-filter", "input", show);
  on("trace-pause", "change", showSoon);
  on("trace-clear", "click", () => {
    lines = [];
    show();
  });
  on("trace-save", "click", () => save(new Blob(lines.map((line) => `${line.text}\n`), {type: "text/plain"}), "trace.txt"));
  show();
}
