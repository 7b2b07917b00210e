// The interface of the server: token, who we are, requests and their failures.
import {listen, newest, tell} from "./bus.js";

const root = "/api/v1/";

function makeId() {
  return Array.from(crypto.getRandomValues(new Uint8Array(9)), (byte) => byte.toString(16).padStart(2, "0")).join("");
}

// A tab keeps its name over a reload. While it lives the name is not in the storage, or a copy of the tab would bear it too.
function takeId() {
  const id = sessionStorage.getItem("kvexa.client") ?? makeId();
  sessionStorage.removeItem("kvexa.client");
  return id;
}

export const client = takeId();
addEventListener("pagehide", () => sessionStorage.setItem("kvexa.client", client));
addEventListener("pageshow", () => sessionStorage.removeItem("kvexa.client"));

// The token comes in the URL's fragment, which no server sees, and leaves the address bar at once.
function takeToken() {
  const given = new URLSearchParams(location.hash.slice(1)).get("token");
  if (given) {
    sessionStorage.setItem("kvexa.token", given);
    history.replaceState(null, "", location.pathname);
  }
  return given ?? sessionStorage.getItem("kvexa.token") ?? "";
}

let token = takeToken();
addEventListener("hashchange", () => {
  const before = token;
  token = takeToken();
  if (token !== before) tell("token", token);
});

export const currentToken = () => token;

export function setToken(text) {
  token = text;
  sessionStorage.setItem("kvexa.token", token);
  tell("token", token);
}

// A failure as the server tells it, or one of the connection (status 0).
class Problem extends Error {
  constructor(facts) {
    super(facts.detail ?? facts.title ?? "the request failed");
    this.facts = facts;
    this.status = facts.status ?? 0;
  }
}

async function problemOf(response) {
  try {
    const facts = await response.json();
    return new Problem({...facts, status: response.status});
  } catch {
    return new Problem({title: `the server answered ${response.status}`, status: response.status});
  }
}

// body: an object, which is sent as JSON, or a Blob, which is sent as it is.
export async function request(method, path, {query, body, signal} = {}) {
  const url = new URL(root + path, location.origin);
  for (const [name, value] of Object.entries(query ?? {})) url.searchParams.set(name, value);
  const used = token;
  const headers = {Authorization: `Bearer ${used}`, "X-Kvexa-Client": client};
  let content;
  if (body instanceof Blob) {
    headers["Content-Type"] = "text/plain";
    content = body;
  } else if (body !== undefined) {
    headers["Content-Type"] = "application/json";
    content = JSON.stringify(body);
  }
  let response;
  try {
    response = await fetch(url, {method, headers, body: content, signal, cache: "no-store"});
  } catch (error) {
    if (error.name === "AbortError") throw error;
    throw new Problem({title: "the server does not answer", detail: "Is kvexa serve still running?", status: 0});
  }
  if (response.status === 401 && used === token) setToken("");
  if (!response.ok) throw await problemOf(response);
  return response;
}

export async function get(path, query, signal) {
  return (await request("GET", path, {query, signal})).json();
}

export async function getBlob(path, query) {
  return (await request("GET", path, {query})).blob();
}

// Requests that answer with the state.
export async function change(method, path, body, query) {
  const state = await (await request(method, path, {body, query})).json();
  tell("state", state);
  return state;
}

export async function send(method, path, body, query) {
  const response = await request(method, path, {body, query});
  return response.status === 204 ? null : response.json();
}

// Runs what a control asks for; a failure is shown. The control rests meanwhile, so that nothing is sent twice.
export async function act(control, action) {
  if (control?.getAttribute("aria-busy") === "true") return undefined;
  control?.setAttribute("aria-busy", "true");
  try {
    return await action();
  } catch (error) {
    if (error.name !== "AbortError") tell("problem", error instanceof Problem ? error.facts : {title: error.message});
    return undefined;
  } finally {
    control?.removeAttribute("aria-busy");
  }
}

export {listen, newest, tell};
