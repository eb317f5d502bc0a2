// One object in its scene: the recording's frame at each of its observations, with its box and the way
// it went, playing.

import {address_of, fetch_json, is_abort, key_of} from "./api.js";
import {by_id, icon, make, save, say, set_icon} from "./dom.js";
import {readable, rgb_of} from "./filters.js";
import * as results from "./results.js";
import * as state from "./state.js";
import {clock_text, date_text, duration_text, parse_time, shows_local, zone_name, zone_text} from "./time.js";

const ahead = 6; // frames that are fetched before they are shown
const most_kept = 48; // decoded frames

const dialog = by_id("viewer");
const canvas = by_id("frame");

let recordings = new Map();
let object = null;
let feet = []; // of the observations
let index = 0;
let shown = -1; // the observation whose frame is on the canvas
let is_playing = false;
let play_number = 0; // a later one ends those before
let frames = new Map(); // by index: a promise of an image
let request = null;

export function set_recordings(all) {
  recordings = new Map(all.map((each) => [each.run, each]));
}

export function start(all) {
  set_recordings(all);
  by_id("viewer-close").addEventListener("click", state.close);
  dialog.addEventListener("cancel", (event) => { event.preventDefault(); state.close(); });
  by_id("viewer-next").addEventListener("click", () => go_to_object(1));
  by_id("viewer-previous").addEventListener("click", () => go_to_object(-1));
  by_id("play").addEventListener("click", () => (is_playing ? pause() : play()));
  by_id("step-back").addEventListener("click", () => step(-1));
  by_id("step-on").addEventListener("click", () => step(1));
  by_id("scrub").addEventListener("input", () => { pause(); show_instance(Number(by_id("scrub").value)); });
  by_id("scrub").addEventListener("change", note);
  by_id("export-picture").addEventListener("click", export_picture);
  by_id("copy-link").addEventListener("click", copy_link);
}

// What the address says.
export async function show() {
  const opened = state.opened();
  if (!opened) {
    hide();
    return;
  }
  if (object && key_of(object) === opened.key) {
    const at = nearest(opened.time);
    if (at !== index) { pause(); show_instance(at); }
    return;
  }
  await open(opened);
}

function hide() {
  if (!dialog.open) return;
  const key = object && key_of(object);
  pause();
  request?.abort();
  object = null;
  frames.clear();
  dialog.close();
  results.mark_open(null);
  if (key) results.focus_card(key);
}

async function open({key, time}) {
  pause();
  request?.abort();
  request = new AbortController();
  object = null;
  frames.clear();
  if (!dialog.open) { dialog.showModal(); by_id("play").focus(); }
  dialog.setAttribute("aria-busy", "true");
  by_id("viewer-state").hidden = true;
  try {
    const answer = await fetch_json(address_of.object(key), request.signal);
    set_object(answer, time);
  } catch (error) {
    if (!is_abort(error)) show_error(error);
  }
  dialog.removeAttribute("aria-busy");
}

// Without its recording nothing tells how large the picture was.
function extent_of(instances) {
  return [Math.max(1, ...instances.map(({box: [x, , w]}) => Math.ceil(x + w))),
    Math.max(1, ...instances.map(({box: [, y, , h]}) => Math.ceil(y + h)))];
}

function set_object(answer, time) {
  object = answer;
  object.picture ??= extent_of(object.instances);
  feet = object.instances.map(({box: [x, y, w, h]}) => [x + w / 2, y + h]);
  shown = -1;
  const [width, height] = object.picture;
  canvas.width = width;
  canvas.height = height;
  by_id("scene").style.setProperty("--ratio", `${width} / ${height}`);
  by_id("scene").className = `scene ${object.class}`;
  by_id("overlay").setAttribute("viewBox", `0 0 ${width} ${height}`);
  by_id("overlay").replaceChildren();
  by_id("scrub").max = Math.max(object.instances.length - 1, 0);
  dialog.classList.remove("broken");
  by_id("export-json").href = address_of.object(key_of(object));
  by_id("export-json").download = `${file_name()}.json`;
  results.mark_open(key_of(object));
  show_neighbours();
  show_details();
  show_instance(time ? nearest(time) : nearest(object.best?.time));
  if (!time) note();
}

function show_error(error) {
  dialog.classList.add("broken");
  say(by_id("viewer-title"), "Object");
  say(by_id("viewer-place"), "");
  const box = by_id("viewer-state");
  box.hidden = false;
  box.replaceChildren(icon("alert"), make("h3", {}, error.status === 404 ? "There is no such object" : "The object cannot be shown"),
    make("p", {}, error.message), make("button", {type: "button", class: "text-button strong", click: state.close}, "To the list"));
}

const file_name = () => `object_${object.sensor}_${object.id}`;

// The observation at a time, else the one nearest to it.
function nearest(text) {
  const time = parse_time(text);
  if (Number.isNaN(time) || !object) return 0;
  let best = 0;
  object.instances.forEach((each, i) => {
    if (Math.abs(parse_time(each.time) - time) < Math.abs(parse_time(object.instances[best].time) - time)) best = i;
  });
  return best;
}

// Frames

function fetch_frame(i) {
  if (frames.has(i)) return frames.get(i);
  const image = new Image();
  image.fetchPriority = "high"; // before the pictures of the list
  image.src = address_of.frame(key_of(object), object.instances[i].time);
  const promise = image.decode().then(() => image).catch(() => { frames.delete(i); return null; }); // it may come later
  frames.set(i, promise);
  for (const old of frames.keys()) {
    if (frames.size <= most_kept) break;
    if (old !== i) frames.delete(old);
  }
  return promise;
}

// Where the recording cannot be read the still takes its place.
async function fetch_still() {
  if (!frames.has("still")) {
    const image = new Image();
    image.src = address_of.still(object.run);
    frames.set("still", image.decode().then(() => image).catch(() => null));
  }
  return frames.get("still");
}

function note_of(is_frame, has_still) {
  if (is_frame) return "";
  return has_still ? "The recording cannot be read: this is a still of its scene." : "The recording cannot be read.";
}

// The frame and what is drawn on it change together.
async function show_instance(i) {
  const owner = object;
  if (!owner?.instances.length) return;
  index = i;
  by_id("scrub").value = i;
  by_id("scene").classList.add("waiting");
  const frame = owner.has_frames ? await fetch_frame(i) : null;
  const picture = frame ?? (object === owner ? await fetch_still() : null);
  if (object !== owner || index !== i) return;
  const context = canvas.getContext("2d");
  if (picture) context.drawImage(picture, 0, 0, canvas.width, canvas.height);
  else context.clearRect(0, 0, canvas.width, canvas.height);
  const note = note_of(Boolean(frame), Boolean(picture));
  by_id("scene-note").hidden = !note;
  say(by_id("scene-note"), note);
  by_id("scene").classList.remove("waiting");
  shown = i;
  draw_overlay();
  show_moment();
}

function draw_overlay() {
  const [x, y, width, height] = object.instances[shown].box;
  const points = (list) => list.map((point) => point.map((value) => value.toFixed(1)).join(",")).join(" ");
  const [foot_x, foot_y] = feet[shown];
  const unit = object.picture[0] / Math.max(canvas.clientWidth, 1);
  by_id("overlay").replaceChildren(
    make("polyline", {class: "way ahead", points: points(feet.slice(shown))}),
    make("polyline", {class: "way under", points: points(feet.slice(0, shown + 1))}),
    make("polyline", {class: "way", points: points(feet.slice(0, shown + 1))}),
    make("rect", {class: "box under", x, y, width, height, rx: 3 * unit}),
    make("rect", {class: "box", x, y, width, height, rx: 3 * unit}),
    make("circle", {class: "way-end", cx: foot_x, cy: foot_y, r: 4.5 * unit}));
}

// Playing

const speed = () => Number(by_id("speed").value);

function show_playing() {
  set_icon(by_id("play"), is_playing ? "pause" : "play");
  by_id("play").setAttribute("aria-label", is_playing ? "Pause" : "Play");
}

async function play() {
  if (!object?.instances.length) return;
  const number = ++play_number;
  const owner = object;
  is_playing = true;
  show_playing();
  if (index >= owner.instances.length - 1) await show_instance(0);
  while (is_playing && number === play_number && object === owner && index < owner.instances.length - 1) {
    const next = index + 1;
    const wait = (parse_time(owner.instances[next].time) - parse_time(owner.instances[index].time)) / 1000 / speed();
    for (let i = next; owner.has_frames && i < Math.min(next + ahead, owner.instances.length); ++i) fetch_frame(i);
    const begin = performance.now();
    await Promise.all([frames.get(next), new Promise((resolve) => { setTimeout(resolve, Math.min(Math.max(wait, 0), 2000)); })]);
    if (number !== play_number || object !== owner) return;
    // When frames take longer than they last, some are left out.
    const late = performance.now() - begin - wait;
    const skip = wait > 0 ? Math.min(Math.floor(late / wait), 8) : 0;
    await show_instance(Math.min(next + Math.max(skip, 0), owner.instances.length - 1));
  }
  if (number === play_number) pause();
}

function pause() {
  ++play_number;
  if (!is_playing) return;
  is_playing = false;
  show_playing();
  note();
}

function step(by) {
  pause();
  if (!object) return;
  show_instance(Math.min(Math.max(index + by, 0), object.instances.length - 1));
  note();
}

// Into the address.
function note() {
  if (object?.instances.length) state.note_moment(key_of(object), object.instances[index].time);
}

// Other objects of the list

function neighbour(by) {
  const keys = results.keys();
  const now = keys.indexOf(object && key_of(object));
  return now < 0 ? null : keys[now + by] ?? null;
}

function show_neighbours() {
  by_id("viewer-previous").disabled = !neighbour(-1);
  by_id("viewer-next").disabled = !neighbour(1) && !results.has_more();
}

async function go_to_object(by) {
  if (by > 0 && !neighbour(1) && results.has_more()) await results.load_more();
  const key = neighbour(by);
  if (key) state.open(key);
}

// Texts

function fact(name, ...content) {
  return [make("dt", {}, name), make("dd", {}, content)];
}

function score_bars() {
  return make("span", {class: "scores"}, Object.entries(object.scores).map(([name, score]) => {
    const value = Number.isFinite(score) ? score : 0;
    const bar = make("span", {class: `score ${name}`}, make("span"));
    bar.firstElementChild.style.width = `${Math.min(Math.max(value, 0), 1) * 100}%`;
    return [make("span", {}, name), bar, make("span", {class: "number"}, `${Math.floor(value * 100)} %`)];
  }).flat());
}

function moment_pair(text) {
  const time = parse_time(text);
  return `${date_text(time)} ${clock_text(time, 1)}`;
}

function show_details() {
  const recording = recordings.get(object.run);
  say(by_id("viewer-title"), `${object.class[0].toUpperCase()}${object.class.slice(1)} #${object.id}`);
  say(by_id("viewer-place"), `${recording?.name ?? "recording"} · camera ${object.sensor}`);
  by_id("details").replaceChildren(
    ...fact("First seen", make("time", {datetime: object.from}, moment_pair(object.from))),
    ...fact("Last seen", make("time", {datetime: object.to}, moment_pair(object.to))),
    ...fact("Times are in", zone_text()),
    ...fact("Duration", duration_text(object.duration)),
    ...fact("Observations", object.instances.length.toLocaleString("en")),
    ...fact("Scores", score_bars()));
  by_id("shares").replaceChildren(...object.colors.filter(({percent}) => percent >= 1).map(({preset, percent}) => {
    const swatch = make("span", {class: "swatch", "aria-hidden": "true"});
    swatch.style.setProperty("--swatch-1", rgb_of(preset));
    swatch.style.setProperty("--swatch-2", rgb_of(preset));
    const bar = make("span", {class: "share", "aria-hidden": "true"}, make("span"));
    bar.firstElementChild.style.width = `${Math.min(percent, 100)}%`;
    bar.firstElementChild.style.setProperty("--swatch-1", rgb_of(preset));
    return make("li", {}, swatch, make("span", {}, readable(preset)), bar, make("span", {class: "number"}, `${Math.floor(percent)} %`));
  }));
}

function show_moment() {
  const instance = object.instances[shown];
  const time = parse_time(instance.time);
  const text = (local) => `${clock_text(time, 2, local)} ${local ? zone_name : "UTC"}`;
  say(by_id("moment"), text(shows_local()));
  say(by_id("moment-local"), clock_text(time, 0, true) === clock_text(time, 0, false) ? "" : text(!shows_local()));
  say(by_id("moment-number"), `${shown + 1} of ${object.instances.length}`);
  by_id("scrub").setAttribute("aria-valuetext", `${shown + 1} of ${object.instances.length}, ${clock_text(time, 2)}`);
  canvas.setAttribute("aria-label", `The scene at ${clock_text(time, 2)}, with a box around the ${object.class}`);
  const frame = by_id("export-frame");
  frame.hidden = !object.has_frames;
  frame.href = address_of.frame(key_of(object), instance.time);
  frame.download = `${file_name()}_${instance.time.replace(/[^\dTZ]/g, "")}.jpg`;
}

export function show_times() {
  if (!object || shown < 0) return;
  show_details();
  show_moment();
}

// To keep and to send

// The frame with what is drawn on it, in the frame's own size.
function export_picture() {
  if (!object || shown < 0) return;
  const copy = make("canvas", {width: canvas.width, height: canvas.height});
  const context = copy.getContext("2d");
  const unit = Math.max(canvas.width / 800, 1);
  const tone = getComputedStyle(by_id("scene")).getPropertyValue("--bright").trim() || "#fff";
  context.drawImage(canvas, 0, 0);
  context.lineJoin = "round";
  const [x, y, width, height] = object.instances[shown].box;
  for (const [style, size] of [["rgba(0, 0, 0, .55)", 4], [tone, 2]]) {
    context.strokeStyle = style;
    context.lineWidth = size * unit;
    context.beginPath();
    feet.slice(0, shown + 1).forEach(([foot_x, foot_y], i) => context[i ? "lineTo" : "moveTo"](foot_x, foot_y));
    context.stroke();
    context.strokeRect(x, y, width, height);
  }
  const time = object.instances[shown].time;
  copy.toBlob((blob) => blob && save(blob, `${file_name()}_${time.replace(/[^\dTZ]/g, "")}_box.jpg`), "image/jpeg", 0.92);
}

async function copy_link() {
  if (!object) return;
  const link = state.link_of(key_of(object), object.instances[index]?.time);
  try {
    await navigator.clipboard.writeText(link);
    say(by_id("copy-text"), "Copied");
  } catch {
    say(by_id("copy-text"), "See the address");
  }
  setTimeout(() => say(by_id("copy-text"), "Copy link"), 2000);
}

export function on_key(event) {
  const is_control = event.target.closest?.("button, a");
  const is_scrub = event.target === by_id("scrub");
  const last = () => (object?.instances.length ?? 1) - 1;
  const action = {
    n: () => go_to_object(1), p: () => go_to_object(-1),
    " ": is_control && event.target !== by_id("play") ? null : () => (is_playing ? pause() : play()),
    arrowleft: () => step(-1), arrowright: () => step(1),
    home: () => step(-last()), end: () => step(last()),
  }[event.key.toLowerCase()];
  if (!action || (is_scrub && event.key !== " " && !/^[np]$/i.test(event.key))) return;
  event.preventDefault();
  action();
}
