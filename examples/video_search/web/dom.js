// What every part needs to make elements. Texts become text nodes, never markup.

const svg_names = new Set(["svg", "use", "path", "polyline", "polygon", "rect", "line", "circle", "image"]);
const svg_space = "http://www.w3.org/2000/svg";

export const by_id = (id) => document.getElementById(id);

// make("li", {class: "card", "data-id": 3}, child, "text"); true gives an empty attribute, false and
// null none; a function is a listener.
export function make(name, attributes = {}, ...children) {
  const element = svg_names.has(name) ? document.createElementNS(svg_space, name)
                                      : document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (typeof value === "function") element.addEventListener(key, value);
    else if (value === true) element.setAttribute(key, "");
    else if (value !== false && value !== null && value !== undefined) element.setAttribute(key, value);
  }
  element.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined));
  return element;
}

export function icon(name) {
  return make("svg", {"aria-hidden": "true"}, make("use", {href: `/assets/icons.svg#${name}`}));
}

export function set_icon(button, name) {
  button.querySelector("use").setAttribute("href", `/assets/icons.svg#${name}`);
}

// A choice of a group of buttons of which one is pressed.
export function press(button, is_pressed) {
  button.setAttribute("aria-pressed", String(is_pressed));
}

// Sets a text only when it differs, so that live regions do not speak twice.
export function say(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function later(milliseconds, action) {
  let timer = 0;
  const run = (...values) => {
    clearTimeout(timer);
    timer = setTimeout(() => action(...values), milliseconds);
  };
  run.cancel = () => clearTimeout(timer);
  return run;
}

export function remember(key, value) {
  try { localStorage.setItem(key, value); } catch { /* it is forgotten then */ }
}

export function recall(key) {
  try { return localStorage.getItem(key); } catch { return null; }
}

// A download of what was made here.
export function save(blob, name) {
  const address = URL.createObjectURL(blob);
  make("a", {href: address, download: name}).click();
  setTimeout(() => URL.revokeObjectURL(address), 10000);
}
