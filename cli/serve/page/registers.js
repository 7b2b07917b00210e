// The table of registers.
import {$, make, on, parseNumber, recall, remember, setText} from "./dom.js";
import {act, listen, tell} from "./requests.js";
import {add, addressText, canUndo, deviceText, drop, keep, largestOf, read, restore, rows, undo, valueText, write} from "./registerRows.js";

const parts = new Map(); // elements of each row
let watching = null;     // the running watch

// ---- a row

function button(words, name, handler, more = "") {
  const element = make("button", {type: "button", class: `quiet ${more}`, "aria-label": name, title: name}, words);
  element.addEventListener("click", handler);
  return element;
}

function cell(name, ...children) {
  return make("td", {class: name}, ...children);
}

function valueField(row, name) {
  const field = make("input", {type: "text", class: "value", "aria-label": `value of ${name}`, autocomplete: "off", spellcheck: false});
  field.addEventListener("input", () => {
    row.isEdited = true;
    showRow(row);
  });
  field.addEventListener("keydown", (event) => {
    if (event.key === "Enter") writeRow(row);
    if (event.key === "Escape" && row.isEdited) {
      row.isEdited = false;
      showRow(row);
      event.stopPropagation();
    }
  });
  return field;
}

function noteField(row, name) {
  const field = make("input", {type: "text", class: "note", value: row.note, "aria-label": `note on ${name}`, placeholder: "note", autocomplete: "off"});
  field.addEventListener("input", () => {
    row.note = field.value;
    keep();
  });
  return field;
}

function watchBox(row, name) {
  const box = make("input", {type: "checkbox", checked: row.isWatched, "aria-label": `watch ${name}`});
  box.addEventListener("change", () => {
    row.isWatched = box.checked;
    keep();
  });
  return box;
}

function makeRow(row) {
  const name = `${addressText(row)} of ${row.target === "board" ? "the board" : deviceText(row)}`;
  const value = valueField(row, name);
  const bits = make("span", {class: "bits"});
  const writing = button("Write", `write ${name}`, () => writeRow(row), "drives");
  const undoing = button("↶", `undo the last write of ${name}`, () => act(undoing, () => undoRow(row)), "drives");
  const reading = button("↻", `read ${name}`, () => act(reading, () => readRows([row])));
  const element = make("tr", {},
    cell("watch", watchBox(row, name)), cell("device", deviceText(row)), make("th", {scope: "row"}, addressText(row)),
    cell("value-cell", value, bits), cell("note-cell", noteField(row, name)),
    cell("actions", reading, writing, undoing, button("×", `remove ${name}`, () => removeRow(row))));
  parts.set(row.key, {element, value, bits, undoing});
  return element;
}

function showRow(row) {
  const {element, value, bits, undoing} = parts.get(row.key);
  if (!row.isEdited) value.value = valueText(row, row.value);
  value.classList.toggle("is-changed", row.isEdited);
  value.classList.toggle("is-new", row.isNew && !row.isEdited);
  value.classList.toggle("is-bad", row.readsBack !== null && !row.isEdited);
  const otherwise = row.value === null ? "" : `${row.value} · ${row.value.toString(2).padStart(8, "0").replace(/\B(?=(.{4})+$)/g, "\u2009")}`;
  value.title = row.readsBack === null ? otherwise : `${valueText(row, row.readsBack)} was written; it reads back otherwise`;
  setText(bits, otherwise);
  undoing.disabled = !canUndo(row);
  element.hidden = !matches(row);
}

function matches(row) {
  const word = $("register-filter").value.trim().toLowerCase();
  if (!word) return true;
  return [addressText(row), deviceText(row), valueText(row, row.value), row.note].some((text) => text.toLowerCase().includes(word));
}

function showAll() {
  for (const row of rows) showRow(row);
  $("registers-undo").disabled = !canUndo(null);
  $("no-registers").hidden = rows.length > 0;
  const shown = rows.filter(matches).length;
  setText($("register-count"), rows.length ? `${shown === rows.length ? "" : `${shown} of `}${rows.length}` : "");
}

function rebuild() {
  parts.clear();
  $("register-rows").replaceChildren(...rows.map(makeRow));
  showAll();
}

// ---- what is done with rows

async function readRows(some) {
  try {
    await read(some);
  } finally {
    showAll();
  }
}

// Writes go out one after another, however fast they are typed.
let turn = Promise.resolve();

function inTurn(action) {
  const own = turn.then(action);
  turn = own.catch(() => {});
  return own;
}

function writeRow(row) {
  const {value} = parts.get(row.key);
  const words = value.value;
  const number = parseNumber(value.value);
  if (number === null || number > largestOf(row)) {
    tell("problem", {title: "no value of a register", detail: `“${value.value}” for ${addressText(row)}: 0 to ${valueText(row, largestOf(row))}.`, field: "value"});
    value.focus();
    return;
  }
  act(null, () => inTurn(async () => {
    await write(row, number);
    if (value.value === words) row.isEdited = false; // else a new value is being typed
    showAll();
    const wrong = row.readsBack !== null;
    setText($("announcement"), wrong ? `${addressText(row)} reads back as ${valueText(row, row.value)}; it may be read-only, or change by itself.` : `${addressText(row)} is ${valueText(row, number)}.`);
  }));
}

async function undoRow(row) {
  const undone = await inTurn(() => undo(row));
  if (undone) undone.isEdited = false;
  showAll();
  if (undone) setText($("announcement"), `${addressText(undone)} is ${valueText(undone, undone.value)} again.`);
}

function removeRow(row) {
  const {element} = parts.get(row.key);
  const next = element.nextElementSibling ?? element.previousElementSibling;
  drop(row);
  parts.delete(row.key);
  element.remove();
  showAll();
  (next?.querySelector(".actions button:last-child") ?? $("register-add-text")).focus();
}

function chosenPlace() {
  const slave = parseNumber($("register-slave").value);
  return {target: $("register-target").value, slave: slave ?? 0, mode: $("register-mode").value};
}

function addRows(event) {
  event.preventDefault();
  act($("register-add"), async () => {
    const place = chosenPlace();
    if (place.target === "sensor" && parseNumber($("register-slave").value) === null) throw new Error("the slave address is no number: 0x36");
    const added = add($("register-add-text").value, place);
    $("register-add-text").value = "";
    remember("registerPlace", place);
    rebuild();
    if (added.length) await readRows(added);
  });
}

// ---- watching

async function watch(signal) {
  while (!signal.aborted) {
    if (!document.hidden) await readRows(rows.filter((row) => row.isWatched && matches(row)));
    await new Promise((resolve) => setTimeout(resolve, Number($("watch-every").value)));
  }
}

function showWatching() {
  $("registers-watch").setAttribute("aria-pressed", String(watching !== null));
}

async function toggleWatch() {
  if (watching) {
    watching.abort();
    watching = null;
    showWatching();
    return;
  }
  const own = new AbortController();
  watching = own;
  showWatching();
  await act(null, () => watch(own.signal)); // ends here when a reading fails
  if (watching === own) watching = null;
  showWatching();
}

// ---- start

function showPlace() {
  const isSensor = $("register-target").value === "sensor";
  $("register-slave").disabled = !isSensor;
  $("register-mode").disabled = !isSensor;
}

export function startRegisters() {
  const place = recall("registerPlace", {target: "sensor", slave: 0x36, mode: "7/16"});
  $("register-target").value = place.target;
  $("register-slave").value = `0x${place.slave.toString(16).toUpperCase()}`;
  $("register-mode").value = place.mode;
  showPlace();
  on("register-target", "change", showPlace);
  on("register-form", "submit", addRows);
  on("register-filter", "input", showAll);
  on("registers-read", "click", () => act($("registers-read"), () => readRows(rows.filter(matches))));
  on("registers-undo", "click", () => act($("registers-undo"), () => undoRow(null)));
  on("registers-watch", "click", toggleWatch);
  restore();
  rebuild();
  let type = null;
  listen("state", ({board}) => {
    if (type !== null && type !== board.type) showAll();
    type = board.type;
  });
}
