// Puts the page together.
import {$, on, setText} from "./dom.js";
import {currentToken, get, listen, setToken} from "./requests.js";
import {startAnalysis} from "./analysis.js";
import {startCapture} from "./capture.js";
import {startFiles} from "./files.js";
import {startKeys} from "./keys.js";
import {startLive} from "./live.js";
import {startMessages} from "./messages.js";
import {startOff} from "./off.js";
import {startParameters} from "./parameters.js";
import {startPicture} from "./picture.js";
import {startRegisters} from "./registers.js";
import {startSupplies} from "./supplies.js";
import {startTrace} from "./trace.js";
import {startWheel} from "./wheel.js";

function showLink(link) {
  $("link-lost").hidden = link.up;
  document.body.classList.toggle("is-apart", !link.up);
  setText($("link"), link.up ? (link.way === "socket" ? "connected" : "connected, by asking") : "no connection");
  $("link").classList.toggle("is-bad", !link.up);
  document.body.dataset.link = link.up ? link.way : "none";
}

function showDoor(token) {
  $("door").hidden = Boolean(token);
  if (!token) $("token").focus();
}

function startDoor() {
  on("door-form", "submit", (event) => {
    event.preventDefault();
    const text = $("token").value.trim();
    // The whole line that the server prints serves too.
    setToken(/token=([^&\s]+)/.exec(text)?.[1] ?? text);
  });
  listen("token", showDoor);
  showDoor(currentToken());
}

let hasServer = false;

async function showServer() {
  if (hasServer) return;
  const server = await get("server");
  hasServer = true;
  setText($("versions"), `kvexa ${server.version} · library ${server.library} · ${server.instructionSet}`);
  $("simulated").hidden = !server.simulated;
}

startMessages();
startPicture();
startAnalysis();
startSupplies();
startCapture();
startRegisters();
startFiles();
startParameters();
startTrace();
startWheel();
startOff();
startKeys();
startDoor();
listen("link", showLink);
listen("link", (link) => link.up && showServer().catch(() => {}));
startLive();
