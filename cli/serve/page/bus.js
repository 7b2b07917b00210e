// What the parts of the page tell each other: "state", "analysis", "trace", "frame", "problem", "link", "parameters", "rectangle".

const listeners = new Map();
const last = new Map();

export function listen(kind, listener) {
  if (!listeners.has(kind)) listeners.set(kind, []);
  listeners.get(kind).push(listener);
}

export function tell(kind, value) {
  last.set(kind, value);
  for (const listener of listeners.get(kind) ?? []) listener(value);
}

// The newest of a kind, or null.
export const newest = (kind) => last.get(kind) ?? null;
