// The filters: each control shows its part of the search, and changes it.

import {by_id, icon, later, make, press, say} from "./dom.js";
import * as state from "./state.js";
import {clock_text, date_text, duration_text, parse_time} from "./time.js";

const classes = [["", "Any"], ["person", "Person"], ["vehicle", "Vehicle"], ["object", "Other"]];
const default_share = "20";
let presets = [];
let groups = [];

export const readable = (name) => name.replaceAll("_", " ");

export function rgb_of(name) {
  return presets.find((each) => each.name === name)?.rgb ?? "transparent";
}

function chip(name, value, text, swatches = []) {
  const swatch = swatches.length ? make("span", {class: "swatch", "aria-hidden": "true"}) : null;
  swatches.forEach((rgb, i) => swatch.style.setProperty(`--swatch-${i + 1}`, rgb));
  if (swatches.length === 1) swatch.style.setProperty("--swatch-2", swatches[0]);
  return make("button", {type: "button", class: "chip", "data-name": name, "data-value": value,
    "aria-pressed": "false"}, swatch, text);
}

function color_chips() {
  const grouped = groups.map((group) => chip("color", group.name, readable(group.name),
    group.presets.map(rgb_of)));
  const single = presets.map((each) => chip("color", each.name, readable(each.name), [each.rgb]));
  return [...grouped, ...single];
}

function sensors_of(recordings) {
  return [...new Set(recordings.map((each) => each.sensor))];
}

export function start(recordings, answer) {
  ({presets, groups} = answer);
  by_id("classes").append(...classes.map(([value, text]) => chip("class", value, text)));
  by_id("colors").append(...color_chips());
  set_recordings(recordings);
  fill_hours(by_id("hour-from"), 0, 23);
  fill_hours(by_id("hour-to"), 1, 24);
  listen();
  show();
}

// Those of the begin, and those that have come since.
export function set_recordings(recordings) {
  const sensors = sensors_of(recordings);
  by_id("camera-field").hidden = sensors.length < 2;
  const chips = [...by_id("cameras").children];
  const is_there = (sensor) => chips.some((each) => each.dataset.value === sensor);
  const chosen = state.current().sensor?.split(",") ?? [];
  for (const sensor of sensors.filter((each) => !is_there(each))) {
    const added = chip("sensor", sensor, sensor);
    press(added, chosen.includes(sensor));
    by_id("cameras").append(added);
  }
}

function fill_hours(select, first, last) {
  select.append(make("option", {value: ""}, "any"));
  for (let hour = first; hour <= last; ++hour)
    select.append(make("option", {value: hour}, `${String(hour).padStart(2, "0")}:00`));
}

// In a list of several, one more or one less.
function toggled(list, value) {
  return list.includes(value) ? list.filter((each) => each !== value) : [...list, value];
}

function on_chip(event) {
  const button = event.target.closest(".chip");
  if (!button) return;
  const {name, value} = button.dataset;
  if (name === "class") state.change({class: value});
  if (name === "color") change_colors(toggled(state.colors(), value));
  if (name === "sensor") {
    const list = state.current().sensor?.split(",") ?? [];
    state.change({sensor: toggled(list, value).join(",")});
  }
}

function change_colors(list) {
  const gone = list.length ? {} : {min_area: null};
  const single = list.length < 2 ? {colors: null} : {};
  state.change({color: list.join(","), ...gone, ...single});
}

// Both ends; one of them alone stands for the begin or the end of the day.
function change_hours() {
  const from = by_id("hour-from").value;
  const to = by_id("hour-to").value;
  state.change({hours: from || to ? `${from || 0}-${to || 24}` : null});
}

function change_duration(id, name) {
  const input = by_id(id);
  const value = Number(input.value);
  const is_none = input.value === "" || !(value >= 0) || (name === "min_duration" && value === 0);
  state.change({[name]: is_none ? null : String(value)});
}

function listen() {
  by_id("filters").addEventListener("click", on_chip);
  by_id("filters").addEventListener("submit", (event) => event.preventDefault());
  by_id("share").addEventListener("input", () => say(by_id("share-text"), `${by_id("share").value} %`));
  by_id("share").addEventListener("change", () => {
    const share = by_id("share").value;
    state.change({min_area: share === default_share ? null : share});
  });
  by_id("colors-any").addEventListener("click", () => state.change({colors: null}));
  by_id("colors-all").addEventListener("click", () => state.change({colors: "all"}));
  for (const name of ["min", "max"]) {
    const soon = later(500, () => change_duration(`${name}-duration`, `${name}_duration`));
    by_id(`${name}-duration`).addEventListener("input", soon);
    by_id(`${name}-duration`).addEventListener("change", soon);
  }
  by_id("hour-from").addEventListener("change", change_hours);
  by_id("hour-to").addEventListener("change", change_hours);
  by_id("sort").addEventListener("change", () => {
    const order = by_id("sort").value;
    state.change({sort: order === "time" ? null : order});
  });
  by_id("filters-open").addEventListener("click", () => open_narrow(true));
  by_id("filters-close").addEventListener("click", () => open_narrow(false));
  by_id("filters").addEventListener("keydown", (event) => {
    if (event.key === "Escape") open_narrow(false);
  });
}

// On a narrow screen the filters are folded away.
function open_narrow(is_open) {
  const was_open = by_id("filters").classList.contains("open");
  by_id("filters").classList.toggle("open", is_open);
  by_id("filters-open").setAttribute("aria-expanded", String(is_open));
  if (is_open) by_id("filters-close").focus();
  else if (was_open) by_id("filters-open").focus();
}

export function go_to() {
  open_narrow(true);
  by_id("filters").querySelector(".chip").focus();
}

function set_unless_used(input, value) {
  if (document.activeElement !== input || input.value === "" || value === "") input.value = value;
}

export function show() {
  const search = state.current();
  const chosen = {class: [search.class ?? ""], color: state.colors(), sensor: search.sensor?.split(",") ?? []};
  for (const button of document.querySelectorAll(".chip"))
    press(button, chosen[button.dataset.name].includes(button.dataset.value));
  const share = search.min_area ?? default_share;
  by_id("share").value = share;
  say(by_id("share-text"), `${share} %`);
  by_id("share").disabled = !chosen.color.length;
  for (const [id, is_pressed] of [["colors-any", search.colors !== "all"], ["colors-all", search.colors === "all"]]) {
    press(by_id(id), is_pressed);
    by_id(id).disabled = chosen.color.length < 2;
  }
  set_unless_used(by_id("min-duration"), search.min_duration ?? "");
  set_unless_used(by_id("max-duration"), search.max_duration ?? "");
  const [hour_from = "", hour_to = ""] = search.hours?.split("-").map((hour) => String(Number(hour))) ?? [];
  by_id("hour-from").value = hour_from;
  by_id("hour-to").value = hour_to;
  by_id("sort").value = search.sort ?? "time";
  show_active();
}

function time_range({from, to}) {
  const is_time = (text) => !Number.isNaN(parse_time(text));
  const shown = (text) => (is_time(text) ? clock_text(parse_time(text)) : text ?? "…"); // as it is in the address
  const first = [from, to].find(is_time);
  const day = first ? date_text(parse_time(first)) : "";
  return `${day} ${shown(from)} – ${shown(to)}`.trim();
}

// What restricts the search: a text, and the parameters that it stands for.
export function in_use() {
  const search = state.current();
  const list = [];
  const add = (text, ...keys) => list.push({text, keys});
  if (search.from || search.to) add(time_range(search), "from", "to");
  if (search.class) add(classes.find(([value]) => value === search.class)?.[1] ?? search.class, "class");
  if (search.color) {
    const word = search.colors === "all" ? " and " : " or ";
    add(`${state.colors().map(readable).join(word)}, ${search.min_area ?? default_share} %`, "color", "colors", "min_area");
  }
  if (search.stood_in) add("stood in the area", "stood_in");
  if (search.crossed) add("crossed the area", "crossed");
  if (search.min_duration) add(`${duration_text(Number(search.min_duration))} or longer`, "min_duration");
  if (search.max_duration) add(`${duration_text(Number(search.max_duration))} or shorter`, "max_duration");
  if (search.hours) add(`${search.hours.replace("-", " to ")} h UTC`, "hours");
  if (search.sensor) add(`camera ${search.sensor}`, "sensor");
  if (search.min_score) add(`score ${search.min_score} or more`, "min_score");
  return list;
}

export function without(keys) {
  state.change(Object.fromEntries(keys.map((key) => [key, null])));
}

function show_active() {
  const list = in_use();
  const items = list.map(({text, keys}) => make("li", {}, make("button", {type: "button", class: "tag",
    "aria-label": `Remove: ${text}`, click: () => without(keys)}, text, icon("close"))));
  if (list.length > 1)
    items.push(make("li", {}, make("button", {type: "button", class: "tag plain", click: state.clear}, "Clear all")));
  by_id("active").replaceChildren(...items);
  by_id("active").hidden = !list.length;
  say(by_id("filters-text"), list.length ? `Filters (${list.length})` : "Filters");
}
