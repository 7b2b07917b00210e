// Shortcuts, and the dialog that lists them.
import {$, on, recall, remember} from "./dom.js";
import {oneShot, snapshot, startOrStop} from "./capture.js";
import {everythingOff} from "./off.js";
import {actualSize, fit, isMeasureMode, measureMode, setRectangle, zoomBy} from "./picture.js";

const single = {
  s: startOrStop,
  o: oneShot,
  p: snapshot,
  f: fit,
  "1": actualSize,
  "+": () => zoomBy(2),
  "=": () => zoomBy(2),
  "-": () => zoomBy(0.5),
  m: () => {
    measureMode(!isMeasureMode());
    $("picture").focus();
  },
  "?": showHelp,
};

function showHelp() {
  $("help").showModal();
}

const takesText = (element) => element.matches("input:not([type=checkbox]), textarea, select");

function onKey(event) {
  if (event.key === "Escape" && event.shiftKey) {
    everythingOff();
    event.preventDefault();
    return;
  }
  if (event.ctrlKey || event.altKey || event.metaKey || $("help").open || takesText(event.target)) return;
  if (event.key === "Escape") {
    if (isMeasureMode()) measureMode(false);
    else setRectangle(null);
    return;
  }
  if (!$("single-keys").checked) return;
  const action = single[event.key.length === 1 ? event.key.toLowerCase() : event.key];
  if (!action) return;
  event.preventDefault();
  action();
}

export function startKeys() {
  $("single-keys").checked = recall("singleKeys", true);
  on("single-keys", "change", (event) => remember("singleKeys", event.target.checked));
  on("help-open", "click", showHelp);
  on("help-close", "click", () => $("help").close());
  addEventListener("keydown", onKey);
}
