// An area of the picture: drawn on the still of the scene, kept as the corners in its pixels, as
// "x,y x,y". Two corners are a rectangle, three or more a polygon.

import {address_of} from "./api.js";
import {by_id, make, press, say} from "./dom.js";
import * as state from "./state.js";

const least_drag = 5; // pixels on the screen; less sets a corner
const step = 8; // pixels of the picture per key

let recordings = [];
let recording = null;
let corners = [];
let cross = {x: 0, y: 0};
let has_cross = false;
let drag = null;

const dialog = by_id("area");
const drawing = by_id("area-drawing");

const kind_of = (search) => (search.crossed ? "crossed" : "stood_in");
const text_of = (points) => points.map(({x, y}) => `${Math.round(x)},${Math.round(y)}`).join(" ");

function points_of(text) {
  if (!text) return [];
  const points = text.trim().split(/\s+/).map((pair) => {
    const [x, y] = pair.split(",").map(Number);
    return {x, y};
  });
  return points.every(({x, y}) => Number.isFinite(x) && Number.isFinite(y)) ? points : [];
}

// The corners of what is drawn: a rectangle has four.
function outline(points) {
  if (points.length !== 2) return points;
  const [a, b] = points;
  return [a, {x: b.x, y: a.y}, b, {x: a.x, y: b.y}];
}

const shape = (points, name = "area-shape") => make(points.length < 2 ? "polyline" : "polygon",
  {class: name, points: outline(points).map(({x, y}) => `${x},${y}`).join(" ")});

export function start(list) {
  by_id("area-open").addEventListener("click", open);
  by_id("area-open").disabled = true; // until there is a recording
  for (const [id, kind] of [["area-stood", "stood_in"], ["area-crossed", "crossed"]])
    by_id(id).addEventListener("click", () => set_kind(kind));
  by_id("area-close").addEventListener("click", () => dialog.close());
  by_id("area-clear").addEventListener("click", () => { dialog.close(); apply([]); });
  by_id("area-done").addEventListener("click", done);
  drawing.addEventListener("pointerdown", on_down);
  drawing.addEventListener("pointermove", on_move);
  drawing.addEventListener("pointerup", on_up);
  drawing.addEventListener("pointercancel", () => { drag = null; draw(); });
  drawing.addEventListener("keydown", on_key);
  drawing.addEventListener("focus", () => { has_cross = drawing.matches(":focus-visible"); draw(); });
  drawing.addEventListener("blur", () => { has_cross = false; draw(); });
  const choice = by_id("area-recording");
  choice.addEventListener("change", () => { recording = recordings[Number(choice.value)]; corners = []; show_still(); });
  set_recordings(list);
}

// Those of the begin, and those that have come since; what is chosen stays so.
export function set_recordings(list) {
  const usable = list.filter((each) => each.width > 0 && each.height > 0);
  const runs = (all) => all.map((each) => each.run).join();
  if (dialog.open || runs(usable) === runs(recordings)) return;
  recordings = usable;
  recording = recordings.find((each) => each.run === recording?.run) ?? recordings[0] ?? null;
  by_id("area-open").disabled = !recording;
  const choice = by_id("area-recording");
  choice.replaceChildren(...recordings.map((each, i) => make("option", {value: i}, `${each.name} (${each.sensor})`)));
  choice.value = String(recordings.indexOf(recording));
  choice.hidden = recordings.length < 2;
  show();
}

// The small picture beside the filters.
export function show() {
  const search = state.current();
  const points = points_of(search.stood_in ?? search.crossed);
  const mini = by_id("area-mini");
  if (recording) {
    mini.setAttribute("viewBox", `0 0 ${recording.width} ${recording.height}`);
    by_id("area-open").style.setProperty("--ratio", `${recording.width} / ${recording.height}`);
    mini.replaceChildren(make("image", {href: address_of.still(recording.run), width: recording.width,
      height: recording.height}), shape(points));
  }
  say(by_id("area-text"), points.length ? "Change the area" : "Draw an area");
  press(by_id("area-stood"), kind_of(search) === "stood_in");
  press(by_id("area-crossed"), kind_of(search) === "crossed");
  by_id("area-stood").disabled = by_id("area-crossed").disabled = !points.length;
}

function set_kind(kind) {
  const search = state.current();
  const text = search.stood_in ?? search.crossed;
  if (text) state.change({stood_in: null, crossed: null, [kind]: text});
}

function apply(points) {
  const kind = kind_of(state.current());
  const several = new Set(recordings.map((each) => each.sensor)).size > 1;
  state.change({stood_in: null, crossed: null, [kind]: points.length >= 2 ? text_of(points) : null,
    ...(several && points.length >= 2 ? {sensor: recording.sensor} : {})});
}

export function open() {
  if (!recording) return;
  const search = state.current();
  corners = points_of(search.stood_in ?? search.crossed);
  cross = {x: recording.width / 2, y: recording.height / 2};
  dialog.showModal();
  show_still();
  drawing.focus();
}

function show_still() {
  const {width, height, run} = recording;
  const still = by_id("area-still");
  still.width = width;
  still.height = height;
  still.src = address_of.still(run);
  still.alt = `Still of the scene of ${recording.name}`;
  drawing.setAttribute("viewBox", `0 0 ${width} ${height}`);
  draw();
}

function done() {
  if (corners.length === 1) return;
  dialog.close();
  apply(corners);
}

function draw() {
  const unit = recording.width / Math.max(drawing.clientWidth, 1);
  const points = drag?.is_rectangle ? [drag.from, drag.to] : corners;
  const dots = points.map(({x, y}) => make("circle", {class: "area-corner", cx: x, cy: y, r: 5 * unit}));
  const lines = has_cross ? [make("path", {class: "area-cross",
    d: `M${cross.x} 0V${recording.height}M0 ${cross.y}H${recording.width}`})] : [];
  drawing.replaceChildren(shape(points), ...dots, ...lines);
  by_id("area-done").disabled = corners.length === 1;
  const texts = ["No area: the whole picture counts.", "One corner: one more makes a rectangle.", "A rectangle.",
    `A polygon with ${corners.length} corners.`];
  say(by_id("area-status"), texts[Math.min(corners.length, 3)]);
}

function place_of(event) {
  const box = drawing.getBoundingClientRect();
  const clamp = (value, high) => Math.min(Math.max(value, 0), high - 1);
  return {x: clamp(((event.clientX - box.left) / box.width) * recording.width, recording.width),
    y: clamp(((event.clientY - box.top) / box.height) * recording.height, recording.height)};
}

function on_down(event) {
  if (event.button !== 0) return;
  drawing.setPointerCapture(event.pointerId);
  drag = {from: place_of(event), to: place_of(event), x: event.clientX, y: event.clientY, is_rectangle: false};
}

function on_move(event) {
  if (!drag) return;
  drag.to = place_of(event);
  drag.is_rectangle = drag.is_rectangle || Math.hypot(event.clientX - drag.x, event.clientY - drag.y) >= least_drag;
  if (drag.is_rectangle) draw();
}

function on_up() {
  if (!drag) return;
  corners = drag.is_rectangle ? [drag.from, drag.to] : [...corners, drag.from];
  drag = null;
  draw();
}

function on_key(event) {
  const move = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]}[event.key];
  const by = step * (event.shiftKey ? 6 : 1);
  if (move) {
    has_cross = true;
    cross.x = Math.min(Math.max(cross.x + move[0] * by, 0), recording.width - 1);
    cross.y = Math.min(Math.max(cross.y + move[1] * by, 0), recording.height - 1);
  } else if (event.key === " ") {
    corners = [...corners, {...cross}];
  } else if (event.key === "Backspace" || event.key === "Delete") {
    corners = corners.slice(0, -1);
  } else if (event.key === "Enter") {
    done();
    event.preventDefault();
    return;
  } else {
    return;
  }
  event.preventDefault();
  draw();
}
