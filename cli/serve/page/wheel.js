// Who drives: only one client at a time may change things, the others look.
import {$, on, recall, remember, setText} from "./dom.js";
import {act, change, listen, newest} from "./requests.js";

let lastAsked = null;
let declined = null; // who asked and does not get it

const myName = () => $("my-name").value.trim() || "Another page";

function order(id, action) {
  return act($(id), () => change("POST", "wheel", {action, name: myName()}));
}

function show(wheel) {
  const isOther = wheel.held && !wheel.mine;
  setText($("wheel-word"), wheel.mine ? "You drive" : isOther ? `${wheel.name || "Another page"} drives` : "Nobody drives");
  $("wheel").classList.toggle("is-mine", wheel.mine);
  $("wheel").classList.toggle("is-other", isOther);
  $("wheel-take").hidden = wheel.mine;
  $("wheel-ask").hidden = !isOther;
  $("wheel-give").hidden = !wheel.mine;
  for (const control of document.querySelectorAll(".drives")) control.classList.toggle("is-barred", isOther);
  if (wheel.asked === null) declined = null;
  const isAsked = wheel.mine && wheel.asked !== null && wheel.asked !== declined;
  $("asked").hidden = !isAsked;
  if (isAsked && lastAsked !== wheel.asked) setText($("asked-text"), `${wheel.asked || "Another page"} asks for the wheel.`);
  lastAsked = isAsked ? wheel.asked : null;
}

export function startWheel() {
  $("my-name").value = recall("name", "");
  on("my-name", "change", () => remember("name", $("my-name").value.trim()));
  on("wheel-take", "click", () => order("wheel-take", "take"));
  on("wheel-ask", "click", async () => {
    if (await order("wheel-ask", "ask")) setText($("announcement"), "You have asked for the wheel.");
  });
  on("wheel-give", "click", () => order("wheel-give", "give"));
  on("asked-give", "click", () => order("asked-give", "give"));
  on("asked-keep", "click", () => {
    declined = newest("state").wheel.asked;
    show(newest("state").wheel);
    $("wheel-give").focus();
  });
  listen("state", (state) => show(state.wheel));
}
