// The time line: how many objects were first seen when, all and those that match, and the window that
// is searched. It is dragged on with the pointer, or moved by its two handles, which are sliders.

import {address_of, fetch_json, is_abort} from "./api.js";
import {by_id, later, make, say} from "./dom.js";
import * as state from "./state.js";
import {clock_text, date_text, duration_text, iso, marks, parse_time} from "./time.js";

const height = 84; // pixels, and of the strip of recordings below
const strip = 6;
const shortest_view = 1e6; // microseconds
const least_drag = 4; // pixels; less is a click

let recordings = [];
let whole = {from: 0, to: 1};
let view = {from: 0, to: 1};
let chosen = null; // the window, {from, to}; null: the whole time
let counts = {all: [], match: [], from: 0, to: 1};
let request = null;

const track = by_id("track");
const width = () => track.clientWidth || 1;
const x_of = (time) => ((time - view.from) / (view.to - view.from)) * width();
const time_at = (x) => view.from + (Math.min(Math.max(x, 0), width()) / width()) * (view.to - view.from);
const clamp = (value, low, high) => Math.min(Math.max(value, low), high);

export function set_recordings(list) {
  recordings = list.map((each) => ({...each, start: parse_time(each.from), end: parse_time(each.to)}));
  if (!recordings.length) return;
  const was_whole = view.from === whole.from && view.to === whole.to;
  const from = Math.min(...recordings.map((each) => each.start));
  const to = Math.max(...recordings.map((each) => each.end), from + 1e6);
  whole = {from, to};
  if (was_whole) view = {...whole};
}

export function start(list) {
  view = {...whole};
  set_recordings(list);
  view = {...whole};
  read_window();
  show_around_window();
  track.addEventListener("pointerdown", begin_drag);
  track.addEventListener("wheel", on_wheel, {passive: false});
  track.addEventListener("keydown", on_track_key);
  for (const [id, end] of [["handle-from", "from"], ["handle-to", "to"]]) {
    by_id(id).addEventListener("pointerdown", (event) => begin_resize(event, end));
    by_id(id).addEventListener("keydown", (event) => on_handle_key(event, end));
  }
  by_id("zoom-in").addEventListener("click", () => zoom(0.5));
  by_id("zoom-out").addEventListener("click", () => zoom(2));
  by_id("zoom-fit").addEventListener("click", fit);
  by_id("window-clear").addEventListener("click", () => choose(null));
  new ResizeObserver(draw).observe(track);
  draw();
}

function read_window() {
  const {from, to} = state.current();
  const begin = from ? parse_time(from) : whole.from;
  const end = to ? parse_time(to) : whole.to;
  chosen = (from || to) && begin <= end ? {from: begin, to: end} : null;
}

// An address with a short window shows the surroundings of that.
function show_around_window() {
  if (!chosen || chosen.to - chosen.from > (whole.to - whole.from) / 20) return;
  const room = Math.max((chosen.to - chosen.from) * 2, shortest_view);
  set_view(chosen.from - room, chosen.to + room);
}

const load_soon = later(160, load);

export function refresh() {
  read_window();
  draw();
  load();
}

async function load() {
  request?.abort();
  request = new AbortController();
  const {from, to} = view;
  const buckets = clamp(Math.floor(width() / 9), 20, 200);
  const ask = (query) => fetch_json(address_of.density(query, iso(from), iso(to), buckets), request.signal);
  const filter = state.query_of(state.current(), ["from", "to", "sort"]);
  try {
    const all = await ask("");
    const match = filter ? await ask(filter) : all;
    counts = {all: all.buckets, match: match.buckets, from, to};
    track.classList.remove("failed");
    draw();
  } catch (error) {
    if (is_abort(error)) return;
    counts = {all: [], match: [], from, to};
    track.classList.add("failed");
    draw();
  }
}

// A skyline: each bucket a bar with a gap, all of them one path. Square roots let few be seen
// beside many.
function skyline(buckets, most) {
  const step = (x_of(counts.to) - x_of(counts.from)) / buckets.length;
  const gap = step > 4 ? 1.5 : 0;
  let path = "";
  buckets.forEach((count, i) => {
    if (!count) return;
    const top = Math.max(3, Math.sqrt(count / most) * (height - 14));
    const x = x_of(counts.from) + i * step;
    path += `M${x.toFixed(1)} ${height}v${-top.toFixed(1)}h${(step - gap).toFixed(1)}v${top.toFixed(1)}z`;
  });
  return path;
}

function draw_density() {
  const svg = by_id("density");
  svg.setAttribute("viewBox", `0 0 ${width()} ${height + strip + 6}`);
  const most = Math.max(1, ...counts.all);
  const lanes = recordings.map((each) => make("rect", {class: "lane", rx: 2, y: height + 4, height: strip,
    x: x_of(each.start), width: Math.max(1, x_of(each.end) - x_of(each.start) - 1)}));
  svg.replaceChildren(...lanes, make("path", {class: "bars all", d: skyline(counts.all, most)}),
    make("path", {class: "bars match", d: skyline(counts.match, most)}));
}

function draw_axis() {
  const list = marks(view.from, view.to, Math.max(2, Math.floor(width() / 92)));
  by_id("axis").replaceChildren(...list.map(({time, label}) => {
    const mark = make("span", {}, label);
    mark.style.left = `${(x_of(time) / width()) * 100}%`;
    if (x_of(time) < 30) mark.className = "first";
    if (x_of(time) > width() - 30) mark.className = "last";
    return mark;
  }));
}

function draw_window() {
  const box = by_id("window");
  const from = chosen?.from ?? view.from;
  const to = chosen?.to ?? view.to;
  const left = clamp(x_of(from), -2, width() + 2);
  const right = clamp(x_of(to), -2, width() + 2);
  box.hidden = !chosen;
  box.style.left = `${left}px`;
  box.style.width = `${Math.max(right - left, 1)}px`;
  track.classList.toggle("has-window", Boolean(chosen));
  for (const [id, time, x] of [["handle-from", from, left], ["handle-to", to, right]]) {
    const handle = by_id(id);
    handle.style.left = `${clamp(x, 0, width())}px`;
    handle.setAttribute("aria-valuemin", Math.round(whole.from / 1e6));
    handle.setAttribute("aria-valuemax", Math.round(whole.to / 1e6));
    handle.setAttribute("aria-valuenow", Math.round(clamp(time, whole.from, whole.to) / 1e6));
    handle.setAttribute("aria-valuetext", `${date_text(time)} ${clock_text(time)}`);
    handle.classList.toggle("outside", x < 0 || x > width());
  }
}

function window_text() {
  const {from, to} = chosen ?? whole;
  if (!recordings.length) return "";
  const days = date_text(from) === date_text(to) ? date_text(from) : `${date_text(from)} to ${date_text(to)}`;
  return `${days} · ${clock_text(from)} – ${clock_text(to)} (${duration_text((to - from) / 1e6)})`;
}

export function draw() {
  draw_density();
  draw_axis();
  draw_window();
  say(by_id("window-text"), window_text());
  by_id("window-clear").disabled = !chosen;
  const is_whole = view.from <= whole.from && view.to >= whole.to;
  by_id("zoom-out").disabled = by_id("zoom-fit").disabled = is_whole;
}

// The window

function choose(next) {
  chosen = next;
  draw();
  state.change({from: next ? iso(Math.round(next.from)) : null, to: next ? iso(Math.round(next.to)) : null});
}

function follow_pointer(event, move, end) {
  const target = event.currentTarget;
  target.setPointerCapture(event.pointerId);
  const stop = (last) => {
    target.removeEventListener("pointermove", move);
    target.removeEventListener("pointerup", stop);
    target.removeEventListener("pointercancel", stop);
    end(last);
  };
  target.addEventListener("pointermove", move);
  target.addEventListener("pointerup", stop);
  target.addEventListener("pointercancel", stop);
}

const x_in_track = (event) => event.clientX - track.getBoundingClientRect().left;

function begin_drag(event) {
  if (event.button !== 0 || event.target.closest(".handle") || !recordings.length) return;
  const first = x_in_track(event);
  const before = chosen;
  const is_inside = before && first > x_of(before.from) && first < x_of(before.to);
  let is_drag = false;
  follow_pointer(event, (move) => {
    const x = x_in_track(move);
    is_drag = is_drag || Math.abs(x - first) >= least_drag;
    if (!is_drag) return;
    chosen = is_inside ? moved(before, time_at(x) - time_at(first)) :
      {from: time_at(Math.min(x, first)), to: time_at(Math.max(x, first))};
    draw();
  }, (last) => {
    if (last.type === "pointercancel") { chosen = before; draw(); }
    else if (is_drag) choose(chosen);
    else if (before && !is_inside) choose(null);
  });
}

function moved(window, by) {
  const shift = clamp(by, whole.from - window.from, whole.to - window.to);
  return {from: window.from + shift, to: window.to + shift};
}

function with_end(end, time) {
  const now = chosen ?? {...view};
  const next = {...now, [end]: clamp(time, whole.from, whole.to)};
  if (next.from > next.to) next[end] = end === "from" ? next.to : next.from;
  return next;
}

function begin_resize(event, end) {
  if (event.button !== 0 || !recordings.length) return;
  event.stopPropagation();
  const before = chosen;
  let is_drag = false;
  follow_pointer(event, (move) => {
    is_drag = true;
    chosen = with_end(end, time_at(x_in_track(move)));
    draw();
  }, (last) => {
    if (last.type === "pointercancel") { chosen = before; draw(); }
    else if (is_drag) choose(chosen);
  });
}

const commit_soon = later(400, () => choose(chosen));

function on_handle_key(event, end) {
  const direction = {ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1, PageUp: 10, PageDown: -10}[event.key];
  const limit = {Home: whole.from, End: whole.to}[event.key];
  if ((direction === undefined && limit === undefined) || !recordings.length) return;
  event.preventDefault();
  event.stopPropagation();
  const step = ((view.to - view.from) / 100) * (event.shiftKey ? 10 : 1);
  const now = (chosen ?? view)[end];
  chosen = with_end(end, limit ?? now + direction * step);
  draw();
  commit_soon();
}

// The view

function set_view(from, to) {
  const length = clamp(to - from, shortest_view, whole.to - whole.from);
  const begin = clamp((from + to - length) / 2, whole.from, whole.to - length);
  view = {from: begin, to: begin + length};
}

function change_view(from, to) {
  set_view(from, to);
  draw();
  load_soon();
}

// Around the pointer, else the window's middle, else the view's.
export function zoom(factor, at = null) {
  const middle_of = (span) => (span.from + span.to) / 2;
  const is_in_view = chosen && chosen.to > view.from && chosen.from < view.to;
  const fixed = at ?? middle_of(is_in_view ? chosen : view);
  const share = at === null ? 0.5 : (at - view.from) / (view.to - view.from);
  const length = clamp((view.to - view.from) * factor, shortest_view, whole.to - whole.from);
  change_view(fixed - length * share, fixed + length * (1 - share));
}

export function fit() {
  change_view(whole.from, whole.to);
}

function pan(share) {
  const by = (view.to - view.from) * share;
  change_view(view.from + by, view.to + by);
}

// The wheel alone scrolls the page.
function on_wheel(event) {
  if (event.ctrlKey || event.metaKey) {
    event.preventDefault();
    zoom(Math.exp(clamp(event.deltaY, -60, 60) * 0.01), time_at(x_in_track(event)));
  } else if (Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
    event.preventDefault();
    pan(event.deltaX / width());
  }
}

function on_track_key(event) {
  if (event.target !== track || event.ctrlKey || event.metaKey || event.altKey) return;
  const action = {ArrowLeft: () => pan(-0.1), ArrowRight: () => pan(0.1), "+": () => zoom(0.5),
    "-": () => zoom(2), 0: fit}[event.key];
  if (!action) return;
  event.preventDefault();
  event.stopPropagation();
  action();
}
