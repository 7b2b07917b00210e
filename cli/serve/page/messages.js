// Failures, each with what it is and what to do; the newest on top.
import {$, make} from "./dom.js";
import {listen, tell} from "./bus.js";

const most = 4;

// Names of functions and files stay as they are written.
const sentence = (text) => /^[a-z]+ /.test(text) ? text.charAt(0).toUpperCase() + text.slice(1) : text;

function describe(facts) {
  const card = make("li", {class: "message"});
  const text = make("div", {});
  // The title of what a server answers is that of its status; the sentence is in the detail.
  const isAnswer = Boolean(facts.status && facts.detail);
  const title = isAnswer ? facts.detail : facts.title ?? "Something failed";
  text.append(make("strong", {}, sentence(title)));
  if (!isAnswer && facts.detail && facts.detail !== title) text.append(make("p", {}, facts.detail));
  const details = [];
  if (facts.field) details.push(["field", facts.field]);
  if (facts.call) details.push(["call", facts.call]);
  if (facts.code !== undefined && facts.code !== null) details.push(["code", facts.code]);
  if (facts.name) details.push(["name", facts.name]);
  if (details.length) {
    const list = make("dl", {class: "inline-facts"});
    for (const [name, value] of details) list.append(make("div", {}, make("dt", {}, name), make("dd", {}, String(value))));
    text.append(list);
  }
  if (facts.advice) text.append(make("p", {class: "advice"}, sentence(facts.advice)));
  const close = make("button", {type: "button", class: "quiet", "aria-label": `Dismiss: ${title}`}, "×");
  close.addEventListener("click", () => {
    const next = card.nextElementSibling ?? card.previousElementSibling;
    card.remove();
    (next?.querySelector("button") ?? $("picture")).focus();
    showCount();
  });
  card.append(text, close);
  return card;
}

function showCount() {
  $("messages").hidden = $("message-list").childElementCount === 0;
}

// One failure that comes again and again stays one message.
const key = (facts) => JSON.stringify([facts.title, facts.detail, facts.call, facts.code, facts.field]);

export function startMessages() {
  listen("problem", (facts) => {
    const list = $("message-list");
    $("alarm").textContent = `${facts.detail ?? facts.title} ${facts.advice ?? ""}`;
    for (const card of list.children) {
      if (card.dataset.key === key(facts)) {
        const title = card.querySelector("strong");
        title.dataset.times = Number(title.dataset.times ?? 1) + 1;
        if (card !== list.firstElementChild) list.prepend(card);
        return;
      }
    }
    const card = describe(facts);
    card.dataset.key = key(facts);
    list.prepend(card);
    while (list.childElementCount > most) list.lastElementChild.remove();
    showCount();
  });
  // What failed without anybody's request: a capture that ended, a board that went.
  let last = null;
  listen("state", ({error}) => {
    const now = error ? key(error) : null;
    if (now !== null && now !== last) tell("problem", error);
    last = now;
  });
}
