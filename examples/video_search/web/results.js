// The list: cards, loaded page after page as one scrolls.

import {address_of, fetch_json, is_abort, key_of} from "./api.js";
import {by_id, icon, make, say} from "./dom.js";
import {in_use, readable, rgb_of, without} from "./filters.js";
import * as state from "./state.js";
import {clock_text, date_text, duration_text, parse_time} from "./time.js";

const page_size = 48;
const placeholders = 12;

let recordings = new Map(); // by run
let objects = [];
let cursor = null;
let is_complete = true;
let is_loading = false;
let total = null; // that match, when the list was loaded
let request = null;

const list = by_id("cards");

export function set_recordings(all) {
  recordings = new Map(all.map((each) => [each.run, each]));
}

export function start(all) {
  set_recordings(all);
  new IntersectionObserver((entries) => {
    if (entries.some((entry) => entry.isIntersecting)) load_more();
  }, {rootMargin: "900px"}).observe(by_id("sentinel"));
  by_id("new-pill").addEventListener("click", () => {
    load();
    by_id("results").scrollIntoView({block: "start"});
  });
  list.addEventListener("click", on_click);
}

export const keys = () => objects.map(key_of);
export const has_more = () => !is_complete;

// The search from its begin. What is shown stays, faded, until the answer is there.
export async function load() {
  request?.abort();
  request = new AbortController();
  const {signal} = request;
  is_loading = true;
  total = null;
  by_id("new-pill").hidden = true;
  by_id("csv").href = address_of.csv(state.query_of());
  list.setAttribute("aria-busy", "true");
  if (!objects.length) show_placeholders();
  count(signal);
  try {
    const answer = await fetch_json(address_of.search(state.query_of(), null, page_size), signal);
    objects = [];
    list.replaceChildren();
    by_id("state").hidden = true;
    take(answer);
    if (!objects.length) show_empty();
  } catch (error) {
    if (is_abort(error)) return;
    objects = [];
    is_complete = true;
    list.replaceChildren();
    show_error(error);
  }
  list.removeAttribute("aria-busy");
  is_loading = false;
  if (objects.length) show_count();
  fill_screen();
}

export async function load_more() {
  if (is_loading || is_complete || !cursor) return;
  is_loading = true;
  const {signal} = request;
  try {
    const answer = await fetch_json(address_of.search(state.query_of(), cursor, page_size), signal);
    if (signal.aborted) return; // another load has begun
    take(answer);
  } catch (error) {
    if (is_abort(error) || signal.aborted) return;
    is_complete = true;
    show_error(error, "The rest of the list cannot be had.");
  }
  is_loading = false;
  fill_screen();
}

// The observer tells when the end comes into view, not that it is there still.
function fill_screen() {
  requestAnimationFrame(() => {
    if (by_id("sentinel").getBoundingClientRect().top < innerHeight + 900) load_more();
  });
}

function take(answer) {
  objects.push(...answer.objects);
  cursor = answer.next;
  is_complete = !answer.next;
  list.append(...answer.objects.map(card));
  say(by_id("status"), `${objects.length}${is_complete ? "" : " or more"} objects shown` +
    (answer.unanswered ? `, without ${answer.unanswered.join(", ")}` : ""));
  show_count();
}

async function fetch_total(signal) {
  return (await fetch_json(address_of.density(state.query_of(), null, null, 1), signal)).total;
}

// A window of one moment has no density; its list is short.
function is_moment({from, to}) {
  return Boolean(from) && parse_time(from) === parse_time(to);
}

async function count(signal) {
  if (is_moment(state.current())) return;
  try {
    const found = await fetch_total(signal);
    if (signal.aborted) return;
    total = found;
    show_count();
  } catch { /* the list tells what is wrong */ }
}

function show_count() {
  const number = total ?? (is_complete && !is_loading ? objects.length : null);
  say(by_id("count"), number === null ? "Objects" :
    `${number.toLocaleString("en")} ${number === 1 ? "object" : "objects"}`);
}

// After objects were stored: how many of them match.
export async function count_new() {
  if (total === null || is_loading) return;
  const more = (await fetch_total(request.signal)) - total;
  const pill = by_id("new-pill");
  pill.hidden = more <= 0;
  if (more > 0) say(pill, `${more.toLocaleString("en")} new`);
}

// Cards

function scores_text(object) {
  const score = object.scores[object.class];
  return Number.isFinite(score) ? `${Math.floor(score * 100)} %` : "";
}

function color_bar(colors) {
  const bar = make("span", {class: "color-bar", "aria-hidden": "true"});
  for (const {preset, percent} of colors) {
    if (percent < 1) continue;
    const part = make("span");
    part.style.setProperty("--swatch-1", rgb_of(preset));
    part.style.flexGrow = percent;
    bar.append(part);
  }
  return bar;
}

function main_colors(object) {
  const names = object.colors.filter((each) => each.percent >= 10).slice(0, 3).map((each) => readable(each.preset));
  return names.length ? names.join(", ") : "no main colour";
}

// The way over the scene, from a ring to a dot.
export function path_marks(path, unit) {
  if (!path.length) return [];
  const [first, last] = [path[0], path[path.length - 1]];
  return [make("polyline", {class: "way under", points: path.map((point) => point.join(",")).join(" ")}),
    make("polyline", {class: "way", points: path.map((point) => point.join(",")).join(" ")}),
    make("circle", {class: "way-begin", cx: first[0], cy: first[1], r: 7 * unit}),
    make("circle", {class: "way-end", cx: last[0], cy: last[1], r: 9 * unit})];
}

function scene(object) {
  const recording = recordings.get(object.run);
  if (!recording?.width) return null;
  const {width, height, run} = recording;
  const pane = make("span", {class: "card-scene"},
    make("img", {src: address_of.still(run), alt: "", width, height, loading: "lazy", decoding: "async"}),
    make("svg", {viewBox: `0 0 ${width} ${height}`, preserveAspectRatio: "xMidYMid slice", "aria-hidden": "true", focusable: "false"},
      path_marks(object.path, width / 320)));
  pane.style.setProperty("--ratio", `${width} / ${Math.max(height, width * 0.7)}`); // upright ones are cut
  return pane;
}

function time_text(object) {
  return clock_text(parse_time(object.from), 1);
}

function spoken(object) {
  return `${object.class} ${object.id}, ${date_text(parse_time(object.from))} ${time_text(object)}, ` +
    `${duration_text(object.duration)}, ${main_colors(object)}`;
}

function card(object) {
  const key = key_of(object);
  const picture = make("img", {src: object.thumbnail ?? null, class: object.thumbnail ? null : "none", alt: "", loading: "lazy", decoding: "async"});
  picture.addEventListener("load", () => picture.classList.toggle("wide", picture.naturalWidth > picture.naturalHeight));
  picture.addEventListener("error", () => picture.classList.add("none"));
  const link = make("a", {class: `card ${object.class}`, href: `#object=${key}`, "data-key": key, "aria-label": spoken(object)},
    make("span", {class: "card-pictures"}, make("span", {class: "thumb"}, picture), scene(object)),
    make("span", {class: "card-line"},
      make("time", {datetime: object.from}, time_text(object)),
      make("span", {class: "quiet"}, duration_text(object.duration)),
      make("span", {class: "badge"}, `${object.class} ${scores_text(object)}`)),
    color_bar(object.colors),
    make("span", {class: "card-line foot quiet"}, main_colors(object), make("span", {class: "id"}, `#${object.id}`)));
  return make("li", {}, link);
}

export function show_times() {
  objects.forEach((object, i) => {
    const link = list.children[i]?.firstElementChild;
    if (!link) return;
    say(link.querySelector("time"), time_text(object));
    link.setAttribute("aria-label", spoken(object));
  });
}

function on_click(event) {
  const link = event.target.closest("a.card");
  if (!link || event.ctrlKey || event.metaKey || event.shiftKey) return;
  event.preventDefault();
  state.open(link.dataset.key);
}

function show_placeholders() {
  by_id("state").hidden = true;
  list.replaceChildren(...Array.from({length: placeholders}, () => make("li", {"aria-hidden": "true"},
    make("span", {class: "card skeleton"}, make("span", {class: "card-pictures"}), make("span", {class: "bone"}),
      make("span", {class: "bone short"})))));
}

// From card to card, by keys.
export function move(step) {
  const cards = [...list.querySelectorAll("a.card")];
  const now = cards.indexOf(document.activeElement);
  const next = cards[now < 0 ? 0 : Math.min(Math.max(now + step, 0), cards.length - 1)];
  next?.focus();
  if (now + step >= cards.length - 4) load_more();
}

export function focus_card(key) {
  list.querySelector(`a.card[data-key="${CSS.escape(key)}"]`)?.focus({preventScroll: false});
}

export function mark_open(key) {
  for (const link of list.querySelectorAll("a.card"))
    link.toggleAttribute("aria-current", link.dataset.key === key);
}

// States

function show_state(name, title, text, ...buttons) {
  const box = by_id("state");
  box.hidden = false;
  box.className = `state ${name}`;
  box.replaceChildren(icon(name), make("h3", {}, title), make("p", {}, text), make("div", {class: "row center"}, buttons));
}

function show_empty() {
  const used = in_use();
  if (!used.length) {
    show_state("empty", "Nothing here yet", "The store holds no object. They appear as a recording is analysed.");
    return;
  }
  const advice = used.length === 1 ? "The filter that is set leaves none." : "Together the filters leave none; one of them less may find some.";
  const buttons = used.slice(0, 4).map(({text, keys}) =>
    make("button", {type: "button", class: "text-button", click: () => without(keys)}, `Without “${text}”`));
  show_state("empty", "No object matches", advice, buttons);
}

function show_error(error, title = "The search failed") {
  say(by_id("count"), "Objects");
  const buttons = [make("button", {type: "button", class: "text-button strong", click: load}, "Try again")];
  if (error.status === 400 && in_use().length)
    buttons.push(make("button", {type: "button", class: "text-button", click: state.clear}, "Clear all filters"));
  show_state("alert", title, error.message, buttons);
}
