// Starting and stopping, single frames, snapshots, recordings.
import {$, figure, on, save, setText} from "./dom.js";
import {act, change, get, getBlob, listen, newest, request, send, tell} from "./requests.js";

let recording = null; // that this page started: {id, to}

const order = (state) => change("POST", "capture", {state});

export function startOrStop() {
  return act($("run"), () => order(newest("state")?.capture.running ? "stop" : "start"));
}

export function oneShot() {
  return act($("one-shot"), () => order("one"));
}

function nameIn(response, otherwise) {
  const found = /filename="([^"]+)"/.exec(response.headers.get("Content-Disposition") ?? "");
  return found ? found[1] : otherwise;
}

export function snapshot() {
  return act($("snapshot"), async () => {
    const ending = $("snapshot-format").value;
    const response = await request("GET", `frame.${ending}`, {query: ending === "jpg" ? {download: 1, quality: 95} : {download: 1}});
    if (response.status === 204) {
      tell("problem", {title: "no frame yet", detail: "There is no frame to save.", advice: "Start the capture, or take one frame."});
      return;
    }
    const name = nameIn(response, `frame-${response.headers.get("X-Frame-Number")}.${ending}`);
    save(await response.blob(), name);
    setText($("announcement"), `Saved ${name}.`);
  });
}

// ---- recordings

async function fetchArchive(id) {
  save(await getBlob(`recordings/${id}.zip`), `recording-${id}.zip`);
}

async function finish(id, to) {
  const facts = await get(`recordings/${id}`);
  if (to === "zip" && facts.done > 0) {
    await fetchArchive(id);
    setText($("record-result"), `${figure(facts.done)} frames in recording-${id}.zip`);
  } else {
    setText($("record-result"), facts.folder ? `${figure(facts.done)} frames in ${facts.folder}` : `${figure(facts.done)} frames`);
  }
  setText($("announcement"), `The recording has ended with ${facts.done} frames.`);
}

function startRecording() {
  return act($("record"), async () => {
    const wish = {frames: Math.trunc(Number($("record-frames").value)), to: $("record-to").value, format: $("record-format").value};
    if (!(wish.frames >= 1)) {
      tell("problem", {title: "how many frames?", detail: "A recording has at least one frame.", field: "frames"});
      $("record-frames").focus();
      return;
    }
    setText($("record-result"), "");
    const answer = await send("POST", "recordings", wish);
    recording = {id: answer.id, to: wish.to};
  });
}

function stopRecording() {
  const id = newest("state")?.capture.recording?.id;
  return act($("record-stop"), async () => id !== undefined && send("DELETE", `recordings/${id}`));
}

function showRecording(facts) {
  const isUnderWay = facts !== null && !facts.ended;
  $("record-stop").disabled = !isUnderWay;
  const progress = $("record-progress");
  progress.max = facts?.wanted ?? 1;
  progress.value = facts?.done ?? 0;
  setText($("record-count"), facts ? `${figure(facts.done)} of ${figure(facts.wanted)}` : "");
  if (facts?.ended && recording && String(recording.id) === String(facts.id)) {
    const {id, to} = recording;
    recording = null;
    act($("record"), () => finish(id, to));
  }
}

// ---- what runs

function showCapture(capture) {
  setText($("run-word"), capture.running ? "Stop" : "Start");
  $("run").classList.toggle("is-running", capture.running);
  setText($("running"), capture.running ? "live" : "stopped");
  $("running").classList.toggle("is-live", capture.running);
  setText($("rate"), capture.running ? figure(capture.rate, 2) : "–");
  if (!capture.running) setText($("shown"), "–");
  setText($("frames"), figure(capture.frames));
  setText($("lost"), figure(capture.lost));
  setText($("failed"), figure(capture.failed));
  $("lost").classList.toggle("is-bad", capture.lost > 0);
  $("failed").classList.toggle("is-bad", capture.failed > 0);
  const shape = capture.width ? `${capture.width} × ${capture.height} · ${capture.bits} bits · ${capture.format}` : "no format yet";
  setText($("shape"), shape);
  showRecording(capture.recording);
}

export function startCapture() {
  on("run", "click", startOrStop);
  on("one-shot", "click", oneShot);
  on("snapshot", "click", snapshot);
  on("record", "click", startRecording);
  on("record-stop", "click", stopRecording);
  listen("state", (state) => showCapture(state.capture));
  listen("shown", ({rate, header}) => {
    if (newest("state")?.capture.running) setText($("shown"), figure(rate, 1));
    setText($("frame-number"), figure(header.number));
  });
}
