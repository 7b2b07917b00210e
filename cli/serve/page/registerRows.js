// The registers that a person looks at: where they are, what they hold, what they held.
import {hex, parseNumber, recall, remember} from "./dom.js";
import {get, newest, send} from "./requests.js";

const mostAtOnce = 64;
const pastLimit = 200;

export const rows = [];
const past = []; // writes that can be undone: {row, value}

const isUsb = () => newest("state")?.board.type !== "pcie";
const boardStep = () => (isUsb() ? 2 : 4);
const stepOf = (row) => (row.target === "board" ? boardStep() : 1);
const digitsOf = (row) => (row.target === "board" ? boardStep() * 2 : 2);
export const largestOf = (row) => 2 ** (digitsOf(row) * 4) - 1;
export const addressText = (row) => `0x${hex(row.address)}`;
export const valueText = (row, value) => (value === null ? "" : `0x${hex(value, digitsOf(row))}`);
export const deviceText = (row) => (row.target === "board" ? "board" : `0x${hex(row.slave, 2)}`);

const keyOf = (row) => [row.target, row.target === "board" ? "" : row.slave, row.target === "board" ? "" : row.mode, row.address].join("/");

export function keep() {
  remember("registers", rows.map(({target, slave, mode, address, note, isWatched}) => ({target, slave, mode, address, note, isWatched})));
}

function make(place) {
  return {note: "", isWatched: true, ...place, key: keyOf(place), value: null, isNew: false, isEdited: false, readsBack: null};
}

export function restore() {
  for (const place of recall("registers", [])) {
    if (Number.isInteger(place.address) && ["sensor", "board"].includes(place.target)) rows.push(make(place));
  }
}

// "0x0100", "0x0100-0x0107" or "0x0100+8"; null for anything else.
function parseRange(word, step) {
  const [, first, sign, second] = /^([^+-]+)(?:([+-])(.+))?$/.exec(word) ?? [];
  const from = first === undefined ? null : parseNumber(first);
  if (from === null) return null;
  if (!sign) return [from];
  const number = parseNumber(second);
  if (number === null) return null;
  const count = sign === "+" ? number : (number - from) / step + 1;
  if (!(count >= 1 && count <= 1024)) return null;
  return Array.from({length: Math.floor(count)}, (_, i) => from + i * step);
}

// Adds registers and gives back those that are new; throws with the word that is none.
export function add(text, place) {
  const words = text.split(/[\s,]+/).filter(Boolean);
  const step = place.target === "board" ? boardStep() : 1;
  const added = [];
  for (const word of words) {
    const addresses = parseRange(word, step);
    if (!addresses) throw new Error(`“${word}” is no register: 0x0100, 0x0100-0x0107 or 0x0100+8`);
    for (const address of addresses) {
      const row = make({...place, address});
      if (rows.some((each) => each.key === row.key)) continue;
      rows.push(row);
      added.push(row);
    }
  }
  rows.sort((a, b) => a.target.localeCompare(b.target) * -1 || a.slave - b.slave || a.address - b.address);
  keep();
  return added;
}

export function drop(row) {
  rows.splice(rows.indexOf(row), 1);
  keep();
}

const wayOf = (row) => (row.target === "board" ? {target: "board"} : {target: "sensor", slave: row.slave, mode: row.mode});

// Neighbours are read with one request.
function runsOf(some) {
  const runs = [];
  for (const row of some) {
    const run = runs.at(-1);
    const before = run?.at(-1);
    const follows = before && before.target === row.target && before.slave === row.slave && before.mode === row.mode &&
                    row.address === before.address + stepOf(row) && run.length < mostAtOnce;
    if (follows) run.push(row);
    else runs.push([row]);
  }
  return runs;
}

function take(row, value) {
  row.isNew = row.value !== null && row.value !== value;
  row.value = value;
}

function takeAll(some, registers) {
  const values = new Map(registers.map((register) => [register.address, register.value]));
  for (const row of some) if (values.has(row.address)) take(row, values.get(row.address));
}

export async function read(some) {
  for (const run of runsOf(some)) {
    const answer = await get("registers", {...wayOf(run[0]), address: run[0].address, count: run.length});
    takeAll(run, answer.registers);
  }
}

async function put(row, value) {
  const answer = await send("PUT", "registers", {...wayOf(row), address: row.address, values: [value]});
  takeAll([row], answer.registers);
  row.readsBack = row.value === value ? null : value;
}

// What stood there before is read first when it is not known, so that every write can be undone.
export async function write(row, value) {
  if (row.value === null) await read([row]);
  const before = row.value;
  await put(row, value);
  past.push({row, value: before});
  if (past.length > pastLimit) past.shift();
}

export const canUndo = (row) => past.some((entry) => !row || entry.row === row);

// Takes the last write back, of one register or of all.
export async function undo(row) {
  const i = row ? past.findLastIndex((entry) => entry.row === row) : past.length - 1;
  if (i < 0) return null;
  const entry = past[i];
  await put(entry.row, entry.value);
  past.splice(i, 1);
  return entry.row;
}
