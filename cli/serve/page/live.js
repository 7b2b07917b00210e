// What the server tells as it happens: over one WebSocket, and where that does not open, by asking.
import {client, currentToken, get, request} from "./requests.js";
import {listen, newest, tell} from "./bus.js";

const slowest = 5000;  // milliseconds between two attempts
const patience = 4000; // that a request for a frame may wait at the server

const quality = 85;    // of the pictures

let socket = null;
let attempts = 0;
let polling = null; // of the loops that ask instead
let rectangle = null;
let lastFrame = 0;
let lastTrace = 0;

const wanted = () => !document.hidden;

function sendWishes() {
  if (socket?.readyState === WebSocket.OPEN) socket.send(JSON.stringify({frames: wanted(), quality, rectangle}));
}

function takeFrame(buffer) {
  const view = new DataView(buffer);
  const length = view.getUint32(0, true);
  const header = JSON.parse(new TextDecoder().decode(new Uint8Array(buffer, 4, length)));
  lastFrame = header.number;
  tell("picture", {header, blob: new Blob([new Uint8Array(buffer, 4 + length)], {type: "image/jpeg"})});
}

function takeText(text) {
  const message = JSON.parse(text);
  if (message.kind === "trace") lastTrace = message.last;
  if (message.kind === "error") tell("problem", message.problem);
  else tell(message.kind, message);
}

function open() {
  return new Promise((resolve) => {
    let opened = false;
    try {
      const scheme = location.protocol === "https:" ? "wss:" : "ws:";
      socket = new WebSocket(`${scheme}//${location.host}/api/v1/live`, ["kvexa.v1", `bearer.${currentToken()}`, `client.${client}`]);
    } catch {
      resolve(false);
      return;
    }
    socket.binaryType = "arraybuffer";
    socket.onopen = () => {
      opened = true;
      attempts = 0;
      tell("link", {up: true, way: "socket"});
      sendWishes();
    };
    socket.onmessage = (event) => (typeof event.data === "string" ? takeText(event.data) : takeFrame(event.data));
    socket.onclose = () => {
      socket = null;
      resolve(opened);
    };
  });
}

const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

function whenSeen() {
  return new Promise((resolve) => {
    if (!document.hidden) resolve();
    else document.addEventListener("visibilitychange", () => resolve(), {once: true});
  });
}

function frameOf(response, blob) {
  const header = (name) => response.headers.get(`X-Frame-${name}`);
  return {
    header: {number: Number(header("Number")), time: Number(header("Time")), width: Number(header("Width")),
             height: Number(header("Height")), format: header("Format"), bits: Number(header("Bits"))},
    blob,
  };
}

async function askFrames(signal) {
  while (!signal.aborted) {
    await whenSeen();
    const response = await request("GET", "frame.jpg", {query: {after: lastFrame, wait: patience, quality}, signal});
    if (response.status === 204) {
      // A server that has no frames yet may answer at once.
      await pause(200);
      continue;
    }
    const picture = frameOf(response, await response.blob());
    lastFrame = picture.header.number;
    tell("picture", picture);
  }
}

async function askAgain(signal, every, question) {
  while (!signal.aborted) {
    await question();
    await pause(document.hidden ? slowest : every);
  }
}

async function askTrace(signal) {
  const news = await get("trace", {after: lastTrace}, signal);
  lastTrace = news.last;
  if (news.lines.length) tell("trace", news);
}

async function askAnalysis(signal) {
  if (document.hidden || !newest("state")?.capture.frames) return;
  try {
    tell("analysis", await get("analysis", rectangle ?? {}, signal));
  } catch (error) {
    if (!error.status) throw error; // no frame to look at is no fault
  }
}

// Asks until something fails; the next attempt begins with a WebSocket.
async function poll() {
  polling = new AbortController();
  const {signal} = polling;
  tell("link", {up: true, way: "asking"});
  attempts = 0;
  try {
    await Promise.race([
      askFrames(signal),
      askAgain(signal, 500, async () => tell("state", await get("state", {}, signal))),
      askAgain(signal, 250, () => askAnalysis(signal)),
      askAgain(signal, 1000, () => askTrace(signal)),
    ]);
  } catch { /* told by the next attempt */ } finally {
    polling.abort();
    polling = null;
  }
}

// Whether the server answers at all; a wrong token has been told then.
async function answers() {
  try {
    tell("state", await get("state"));
    return true;
  } catch (error) {
    tell("link", {up: false, status: error.status ?? 0});
    return false;
  }
}

async function run() {
  for (;;) {
    if (!currentToken()) {
      await new Promise((resolve) => listen("token", (token) => token && resolve()));
    }
    const wasOpen = await open();
    if (!wasOpen && (await answers())) await poll();
    attempts += 1;
    if (wasOpen) tell("link", {up: false, status: 0});
    await pause(Math.min(slowest, 250 * 2 ** attempts));
  }
}

export function startLive() {
  document.addEventListener("visibilitychange", sendWishes);
  listen("rectangle", (value) => {
    rectangle = value;
    sendWishes();
  });
  listen("token", (token) => {
    if (token) socket?.close();
  });
  run();
}
