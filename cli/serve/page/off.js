// Everything off: the way out that always works, whoever holds the wheel. Pressing it again asks again.
import {$, on, setText} from "./dom.js";
import {act, change} from "./requests.js";

export function everythingOff() {
  return act(null, async () => {
    await change("POST", "off", {});
    setText($("announcement"), "Everything is off: the capture is stopped and the module powered down.");
  });
}

export function startOff() {
  on("off", "click", everythingOff);
}
