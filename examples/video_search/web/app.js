// Puts the parts together, and what belongs to none of them: theme, zone, keys, help.

import {address_of, fetch_json} from "./api.js";
import {by_id, press, recall, remember, say, set_icon} from "./dom.js";
import * as area from "./area.js";
import * as filters from "./filters.js";
import * as live from "./live.js";
import * as results from "./results.js";
import * as state from "./state.js";
import * as timeline from "./timeline.js";
import * as time from "./time.js";
import * as viewer from "./viewer.js";

const root = document.documentElement;

function show_theme() {
  const is_dark = root.dataset.theme === "dark";
  set_icon(by_id("theme"), is_dark ? "sun" : "moon");
  by_id("theme").setAttribute("aria-label", is_dark ? "Light colours" : "Dark colours");
}

function turn_theme() {
  root.dataset.theme = root.dataset.theme === "dark" ? "light" : "dark";
  remember("theme", root.dataset.theme);
  show_theme();
}

function set_zone(local) {
  time.show_local(local);
  remember("zone", local ? "local" : "utc");
  press(by_id("zone-utc"), !local);
  press(by_id("zone-local"), local);
  timeline.draw();
  filters.show();
  results.show_times();
  viewer.show_times();
}

function show_facts(recordings) {
  const objects = recordings.reduce((sum, each) => sum + each.objects, 0);
  const names = recordings.length === 1 ? recordings[0].name : `${recordings.length} recordings`;
  say(by_id("store-facts"), recordings.length ? `${names} · ${objects.toLocaleString("en")} objects` : "No recording yet");
}

// What has come since the page was opened.
function take(recordings) {
  show_facts(recordings);
  for (const part of [filters, area, results, viewer, timeline]) part.set_recordings(recordings);
}

function show_help() {
  if (!by_id("keys").open) by_id("keys").showModal();
}

const list_keys = {
  n: () => results.move(1),
  p: () => results.move(-1),
  d: () => area.open(),
  f: () => filters.go_to(),
  u: () => set_zone(!time.shows_local()),
  "+": () => timeline.zoom(0.5),
  "-": () => timeline.zoom(2),
  "0": () => timeline.fit(),
};

function on_key(event) {
  if (event.ctrlKey || event.metaKey || event.altKey || event.defaultPrevented) return;
  const is_typing = event.target.closest?.("input:not([type=range]), select, textarea");
  if (is_typing) return;
  if (event.key === "?") {
    show_help();
  } else if (by_id("viewer").open) {
    if (!by_id("keys").open) viewer.on_key(event);
    return;
  } else if (document.querySelector("dialog[open]")) {
    return;
  } else {
    const action = list_keys[event.key.toLowerCase()];
    if (!action) return;
    action();
  }
  event.preventDefault();
}

function wire() {
  by_id("theme").addEventListener("click", turn_theme);
  new MutationObserver(show_theme).observe(root, {attributeFilter: ["data-theme"]});
  by_id("zone-utc").addEventListener("click", () => set_zone(false));
  by_id("zone-local").addEventListener("click", () => set_zone(true));
  by_id("zone-local").title = time.zone_name;
  by_id("help").addEventListener("click", show_help);
  by_id("keys-close").addEventListener("click", () => by_id("keys").close());
  addEventListener("keydown", on_key);
  for (const dialog of document.querySelectorAll("dialog"))
    dialog.addEventListener("click", (event) => {
      if (event.target === dialog) dialog.dispatchEvent(new Event("cancel", {cancelable: true})) && dialog.close();
    });
}

// Recordings and presets; an empty list where they cannot be had, so that the search may say why.
async function load() {
  const [recordings, presets] = await Promise.all([
    fetch_json(address_of.recordings()).then((answer) => answer.recordings).catch(() => []),
    fetch_json(address_of.presets()).catch(() => ({presets: [], groups: []})),
  ]);
  return {recordings, presets};
}

async function start() {
  show_theme();
  wire();
  const {recordings, presets} = await load();
  show_facts(recordings);
  filters.start(recordings, presets);
  area.start(recordings);
  results.start(recordings, presets);
  viewer.start(recordings, presets);
  timeline.start(recordings);
  set_zone(recall("zone") === "local");
  state.on_change((change) => {
    if (change === "search") {
      filters.show();
      area.show();
      timeline.refresh();
      results.load();
    } else {
      viewer.show();
    }
  });
  area.show();
  timeline.refresh();
  results.load();
  viewer.show();
  live.start(async () => {
    const answer = await fetch_json(address_of.recordings());
    take(answer.recordings);
    timeline.refresh();
    await results.count_new();
  });
  root.dataset.ready = "true";
}

start();
