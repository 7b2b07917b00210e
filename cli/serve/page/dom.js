// Small helpers for the document and for numbers.

export const $ = (id) => document.getElementById(id);

// An element with properties and children; children are elements or texts.
export function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name === "class") element.className = value;
    else if (name.includes("-") || name === "role") element.setAttribute(name, value);
    else element[name] = value;
  }
  element.append(...children);
  return element;
}

// Changes the text only when it differs, so that nothing is laid out or read aloud anew.
export function setText(element, text) {
  const wanted = String(text);
  if (element.textContent !== wanted) element.textContent = wanted;
}

export function on(id, event, handler) {
  $(id).addEventListener(event, handler);
}

export const hex = (value, digits = 4) => value.toString(16).toUpperCase().padStart(digits, "0");

// "0x1F" or "31"; null for anything else.
export function parseNumber(text) {
  const word = text.trim();
  if (/^0[xX][0-9a-fA-F]{1,8}$/.test(word)) return parseInt(word.slice(2), 16);
  return /^[0-9]{1,10}$/.test(word) ? parseInt(word, 10) : null;
}

// Digits that people compare with each other: thin groups, no rounding of whole numbers.
export function figure(value, decimals = 0) {
  if (value === null || value === undefined || !Number.isFinite(value)) return "–";
  return value.toLocaleString("en", {minimumFractionDigits: decimals, maximumFractionDigits: decimals}).replaceAll(",", "\u2009");
}

// Hands bytes to the browser as a download.
export function save(blob, name) {
  const url = URL.createObjectURL(blob);
  const link = make("a", {href: url, download: name});
  document.body.append(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(url), 60000);
}

// What stays in this browser. A browser that keeps nothing is no reason to stop.
export function remember(key, value) {
  try {
    localStorage.setItem(`kvexa.${key}`, JSON.stringify(value));
  } catch { /* a full or forbidden storage */ }
}

export function recall(key, otherwise) {
  try {
    const text = localStorage.getItem(`kvexa.${key}`);
    return text === null ? otherwise : JSON.parse(text);
  } catch {
    return otherwise;
  }
}
