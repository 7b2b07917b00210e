// The board, its supplies, its clock, its reset and its lines.
import {$, hex, make, on, setText} from "./dom.js";
import {act, change, listen, newest} from "./requests.js";

const switches = [
  {id: "v1", read: (supplies) => supplies.v1.on, dip: (supplies) => supplies.v1},
  {id: "v2", read: (supplies) => supplies.v2.on, dip: (supplies) => supplies.v2},
  {id: "clock", read: (supplies) => supplies.clock.on, dip: (supplies) => supplies.clock},
  {id: "reset", read: (supplies) => supplies.reset, dip: null},
];
const lineCount = 16;
const outputs = []; // the buttons of the output lines

const words = (item, isOn) => (item.id === "reset" ? (isOn ? "active" : "released") : isOn ? "on" : "off");

function showSwitch(item, supplies) {
  const button = $(item.id);
  const isOn = supplies !== null && Boolean(item.read(supplies));
  button.setAttribute("aria-checked", String(isOn));
  setText($(`${item.id}-word`), supplies === null ? "–" : words(item, isOn));
  if (item.dip) {
    const dip = supplies === null ? null : item.dip(supplies);
    setText($(`${item.id}-dip`), dip ? `DIP ${dip.hardwareDip} · ${dip.softwareDip}` : "");
  }
}

function showLines(lines) {
  for (let i = 0; i < lineCount; ++i) {
    const isIn = Boolean((lines.in >> i) & 1);
    const lamp = $(`line-in-${i}`);
    lamp.classList.toggle("is-on", isIn);
    lamp.setAttribute("aria-label", `input line ${i} ${isIn ? "high" : "low"}`);
    $(`line-out-${i}`).setAttribute("aria-checked", String(Boolean((lines.out >> i) & 1)));
  }
  setText($("lines-in"), `0x${hex(lines.in)}`);
  setText($("lines-out"), `0x${hex(lines.out)}`);
}

function makeLine(i) {
  const button = make("button", {type: "button", id: `line-out-${i}`, class: "bit drives", role: "switch", "aria-checked": "false",
                                 "aria-label": `output line ${i}`});
  button.addEventListener("click", () => act(button, () => turnLine(i)));
  outputs[i] = button;
  return make("div", {class: "line"}, make("span", {class: "number", "aria-hidden": "true"}, String(i)),
              make("span", {id: `line-in-${i}`, class: "lamp", role: "img", "aria-label": `input line ${i}`}), button);
}

function makeLines() {
  for (let i = lineCount - 1; i >= 0; --i) $("lines").append(makeLine(i));
}

function turnLine(i) {
  const now = newest("state")?.lines?.out ?? 0;
  return change("PUT", "lines", {out: (now ^ (1 << i)) >>> 0});
}

// Arrow keys move within the row of lines, so that it is one stop of the Tab key.
function moveAlongLines(event) {
  const step = {ArrowLeft: 1, ArrowRight: -1, ArrowUp: lineCount / 2, ArrowDown: lineCount / 2}[event.key];
  if (!step) return;
  const i = Number(event.target.id.slice("line-out-".length));
  const next = $(`line-out-${(i + step + lineCount) % lineCount}`);
  chooseLine(next);
  next.focus();
  event.preventDefault();
}

function chooseLine(button) {
  for (const each of outputs) each.tabIndex = each === button ? 0 : -1;
}

function describe(board) {
  const name = `${board.type === "usb" ? "USB" : "PCIe"} ${board.index}`;
  setText($("board"), name);
  document.title = `${name} · kvexa bench`;
  setText($("board-versions"), board.connected ? `FPGA ${board.fpga ?? "–"}${board.firmware ? ` · firmware ${board.firmware}` : ""} · driver ${board.driver ?? "–"}` : "not connected");
  return name;
}

let wasConnected = null;

function showBoard(board) {
  const name = describe(board);
  document.body.classList.toggle("is-unplugged", !board.connected);
  $("unplugged").hidden = board.connected;
  if (wasConnected !== board.connected) {
    setText($("unplugged-board"), name);
    if (wasConnected !== null) setText($("announcement"), board.connected ? `Board ${name} is back.` : `Board ${name} is not connected.`);
    wasConnected = board.connected;
  }
}

export function startSupplies() {
  makeLines();
  chooseLine($("line-out-0"));
  $("lines").addEventListener("keydown", moveAlongLines);
  $("lines").addEventListener("focusin", (event) => chooseLine(event.target));
  for (const item of switches) {
    on(item.id, "click", () => act($(item.id), () => {
      const supplies = newest("state")?.supplies;
      return change("PUT", "supplies", {[item.id]: !(supplies && item.read(supplies))});
    }));
  }
  on("power-on", "click", () => act($("power-on"), () => change("POST", "power", {state: "on"})));
  on("power-off", "click", () => act($("power-off"), () => change("POST", "power", {state: "off"})));
  listen("state", (state) => {
    showBoard(state.board);
    for (const item of switches) showSwitch(item, state.supplies);
    setText($("i2c-word"), state.supplies ? (state.supplies.i2c ? "connected" : "apart") : "–");
    setText($("switch-word"), state.supplies ? (state.supplies.powerSwitch ? "on" : "off") : "–");
    showLines(state.lines ?? {in: 0, out: 0});
  });
}
