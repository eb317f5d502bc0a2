#include "Profile_Page.h"

#include <nlohmann/json.hpp>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* page_begin = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Profile</title>
<style>
:root {
  --page: #f6f7f9; --card: #ffffff; --ink: #1b2330; --soft: #667085; --line: #e4e7ec;
  --average: #2563eb; --high: #d9480f; --calls: #0f9d76; --p50: #6d5bd0; --p90: #9b5de5; --p99: #c2418c;
  --hover: #eef2f8; color-scheme: light;
}
:root[data-theme="dark"] {
  --page: #0f141b; --card: #171e28; --ink: #e6eaf0; --soft: #8f9bad; --line: #2a3442;
  --average: #6ea8ff; --high: #ff8f5a; --calls: #3ecf9f; --p50: #a396ff; --p90: #c79bff; --p99: #ff8ac2;
  --hover: #1f2835; color-scheme: dark;
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 14px/1.45 system-ui, sans-serif; }
main, header { max-width: 1240px; margin: 0 auto; padding: 0 20px; }
header { padding-top: 22px; display: flex; flex-wrap: wrap; gap: 10px 24px; align-items: flex-end; }
h1 { font-size: 22px; margin: 0; letter-spacing: -.01em; }
header p { margin: 2px 0 0; color: var(--soft); }
.tools { margin-left: auto; display: flex; flex-wrap: wrap; gap: 8px; }
input, button, select { font: inherit; color: inherit; background: var(--card); border: 1px solid var(--line);
  border-radius: 7px; padding: 5px 10px; }
button { cursor: pointer; }
button:hover { background: var(--hover); }
button[aria-pressed="true"] { border-color: var(--average); color: var(--average); }
.card { background: var(--card); border: 1px solid var(--line); border-radius: 12px; margin: 16px 0;
  padding: 14px 16px; }
h2 { font-size: 15px; margin: 0 0 2px; overflow-wrap: anywhere; }
.figures { color: var(--soft); margin: 0 0 8px; }
.figures b { color: var(--ink); font-weight: 600; font-variant-numeric: tabular-nums; }
.plots { display: grid; grid-template-columns: 3fr 2fr; gap: 18px; }
@media (max-width: 800px) { .plots { grid-template-columns: 1fr; } }
.plot h3 { font-size: 12px; font-weight: 600; color: var(--soft); margin: 0 0 2px; display: flex; gap: 12px;
  flex-wrap: wrap; }
.key::before { content: ""; display: inline-block; width: 14px; height: 3px; border-radius: 2px; margin-right: 5px;
  vertical-align: 3px; background: var(--c); }
svg { display: block; width: 100%; overflow: visible; }
svg text { fill: var(--soft); font-size: 11px; font-variant-numeric: tabular-nums; }
.grid { stroke: var(--line); stroke-width: 1; }
.cursor { stroke: var(--soft); stroke-width: 1; stroke-dasharray: 3 3; visibility: hidden; }
.table { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { text-align: right; padding: 5px 10px; white-space: nowrap; border-bottom: 1px solid var(--line); }
tr:last-child td { border-bottom: 0; }
th:first-child, td:first-child { text-align: left; white-space: normal; overflow-wrap: anywhere; min-width: 140px; }
th { font-weight: 600; color: var(--soft); cursor: pointer; user-select: none; }
th[aria-sort] { color: var(--ink); }
th[aria-sort="descending"]::after { content: " \2193"; }
th[aria-sort="ascending"]::after { content: " \2191"; }
tbody tr { cursor: pointer; }
tbody tr:hover { background: var(--hover); }
.share { display: inline-block; width: 90px; height: 7px; border-radius: 4px; background: var(--line);
  vertical-align: middle; overflow: hidden; }
.share i { display: block; height: 100%; background: var(--average); }
td svg { width: 120px; height: 22px; display: inline-block; vertical-align: middle; }
#tip { position: fixed; pointer-events: none; background: var(--ink); color: var(--page); border-radius: 8px;
  padding: 7px 10px; font-size: 12px; line-height: 1.5; visibility: hidden; z-index: 2; white-space: nowrap;
  font-variant-numeric: tabular-nums; box-shadow: 0 4px 16px #0004; }
#more { display: block; margin: 18px auto 40px; }
#more[hidden] { display: none; }
footer { color: var(--soft); max-width: 1240px; margin: 0 auto; padding: 4px 20px 40px; font-size: 13px; }
</style>
</head>
<body>
<header>
  <div><h1>Where the time goes</h1><p id="span"></p></div>
  <div class="tools">
    <input id="filter" type="search" placeholder="Filter tags" aria-label="Filter tags">
    <button id="scale" aria-pressed="false">Logarithmic</button>
    <button id="zone" aria-pressed="false">UTC</button>
    <button id="theme">Dark</button>
  </div>
</header>
<main>
  <div class="card table"><table>
    <thead><tr></tr></thead><tbody></tbody>
  </table></div>
  <div id="cards"></div>
  <button id="more" hidden>Show more tags</button>
</main>
<footer>Count and average are of the calls between two reports; high is the highest since the last reset of
the figures. Percentiles are those of the file beside, where the host writes one. Where there are more than
1,024 reports, neighbouring ones are shown as one: counts added, averages of all their calls, highs and percentiles the
greater ones.</footer>
<div id="tip"></div>
<script type="application/json" id="data">)html";

constexpr const char* page_end = R"html(</script>
<script>
"use strict";
const data = JSON.parse(document.getElementById("data").textContent);
const $ = id => document.getElementById(id);
const state = { sort: "total", descending: true, filter: "", isLog: false, isUtc: false, shown: 30 };
const svgName = "http://www.w3.org/2000/svg";

function make(name, attributes, ...children) {
  const isSvg = ["svg", "path", "line", "text", "rect", "g", "circle"].includes(name);
  const element = isSvg ? document.createElementNS(svgName, name) : document.createElement(name);
  for (const [key, value] of Object.entries(attributes || {})) element.setAttribute(key, value);
  element.append(...children);
  return element;
}

const tags = data.tags.map(tag => {
  const calls = tag.points.reduce((sum, point) => sum + point[1], 0);
  const total = tag.points.reduce((sum, point) => sum + point[2], 0);
  const last = tag.percentiles.length ? tag.percentiles[tag.percentiles.length - 1] : null;
  return Object.assign(tag, {
    label: data.hosts > 1 ? tag.host + ": " + tag.tag : tag.tag, calls, total,
    average: calls ? total / calls : 0, high: tag.points.reduce((most, point) => Math.max(most, point[3]), 0),
    p50: last ? last[1] : null, p90: last ? last[2] : null, p99: last ? last[3] : null });
});
const allTotal = tags.reduce((sum, tag) => sum + tag.total, 0);
const times = tags.flatMap(tag => tag.points.concat(tag.percentiles).map(point => point[0]));
const begin = times.reduce((a, b) => Math.min(a, b), Infinity);
const end = times.reduce((a, b) => Math.max(a, b), -Infinity);

const whole = new Intl.NumberFormat("en");
function milliseconds(value) {
  if (value === null) return "\u2013";
  if (value >= 3600e3) return (value / 3600e3).toFixed(1) + " h";
  if (value >= 60e3) return (value / 60e3).toFixed(1) + " min";
  if (value >= 1e3) return (value / 1e3).toPrecision(3) + " s";
  if (value === 0) return "0 ms";
  return value < 1 ? +(value * 1000).toPrecision(3) + " \u00b5s" : +value.toPrecision(3) + " ms";
}
function short(value) {
  if (value >= 1e9) return +(value / 1e9).toPrecision(3) + " G";
  if (value >= 1e6) return +(value / 1e6).toPrecision(3) + " M";
  if (value >= 1e4) return +(value / 1e3).toPrecision(3) + " k";
  return whole.format(+value.toPrecision(4));
}
function date(time, parts) {
  return new Intl.DateTimeFormat("sv", Object.assign({ timeZone: state.isUtc ? "UTC" : undefined }, parts))
    .format(time);
}
const dayParts = { year: "numeric", month: "2-digit", day: "2-digit" };
const clockParts = { hour: "2-digit", minute: "2-digit" };
const secondParts = Object.assign({ second: "2-digit" }, clockParts);
const full = time => date(time, Object.assign({}, dayParts, secondParts));

// Round steps for an axis: 1, 2, 5 times a power of ten.
function steps(most, count) {
  const rough = most / count;
  const power = Math.pow(10, Math.floor(Math.log10(rough)));
  const step = [1, 2, 5, 10].map(factor => factor * power).find(value => value >= rough * 0.999);
  const result = [];
  for (let value = 0; value <= most * 1.0001; value += step) result.push(value);
  return result;
}
function timeSteps(width) {
  const units = [1, 5, 15, 30, 60, 300, 900, 1800, 3600, 7200, 14400, 21600, 43200, 86400, 172800, 604800,
                 2592000, 7776000, 31536000].map(seconds => seconds * 1000);
  const span = Math.max(end - begin, 1);
  const step = units.find(unit => span / unit <= width / 90) || span;
  const shift = state.isUtc ? 0 : new Date(begin).getTimezoneOffset() * 60000;
  const result = [];
  for (let t = Math.ceil((begin - shift) / step) * step + shift; t <= end; t += step) result.push(t);
  return { values: result, parts: step >= 86400000 ? { month: "2-digit", day: "2-digit" }
                                 : step < 60000 ? secondParts : clockParts };
}

const cursors = [];
const place = { left: 52, right: 10, top: 8, bottom: 20, width: 680, height: 170 };

// series: {color, points: [[time, value]], isBars, isFilled}
function plot(width, series, format) {
  const height = place.height, inner = width - place.left - place.right;
  const bottom = height - place.bottom;
  const svg = make("svg", { viewBox: `0 0 ${width} ${height}`, role: "img" });
  const values = series.flatMap(one => one.points.map(point => point[1])).filter(value => value !== null);
  const most = Math.max(values.reduce((a, b) => Math.max(a, b), 0), 1e-3);
  const positive = values.filter(value => value > 0);
  const least = positive.length ? Math.max(Math.min(...positive), most / 1e6) : most / 10;
  const low = Math.floor(Math.log10(least)), top = Math.max(Math.ceil(Math.log10(most)), low + 1);
  const x = time => place.left + (end > begin ? (time - begin) / (end - begin) : 0.5) * inner;
  const linear = value => bottom - value / (most * 1.06) * (bottom - place.top);
  const logarithmic = value => bottom -
    Math.max(0, (Math.log10(Math.max(value, 1e-9)) - low) / (top - low)) * (bottom - place.top);
  const y = state.isLog ? logarithmic : linear;
  const marks = state.isLog
    ? Array.from({ length: top - low + 1 }, (_, i) => Math.pow(10, low + i)) : steps(most, 5);
  marks.forEach(value => {
    svg.append(make("line", { class: "grid", x1: place.left, x2: width - place.right, y1: y(value), y2: y(value) }),
               make("text", { x: place.left - 6, y: y(value) + 4, "text-anchor": "end" }, format(value)));
  });
  const axis = timeSteps(inner);
  axis.values.forEach(time => svg.append(
    make("text", { x: x(time), y: height - 4, "text-anchor": "middle" }, date(time, axis.parts))));
  series.forEach(one => {
    const color = `var(--${one.color})`;
    if (one.isBars) {
      const bar = Math.max(inner / Math.max(one.points.length, 1) * 0.8, 0.7);
      const path = one.points.filter(point => point[1] > 0).map(point => {
        const left = Math.min(Math.max(x(point[0]) - bar / 2, place.left), width - place.right - bar);
        return `M${left.toFixed(1)} ${bottom}V${y(point[1]).toFixed(1)}h${bar.toFixed(1)}V${bottom}z`;
      }).join("");
      svg.append(make("path", { d: path, fill: color, opacity: .75 }));
      return;
    }
    let path = "", isDown = false, first = 0, last = 0;
    one.points.forEach(point => {
      if (point[1] === null) { isDown = false; return; }
      const at = x(point[0]).toFixed(1);
      if (!path) first = at;
      path += (isDown ? "L" : "M") + at + " " + y(point[1]).toFixed(1);
      last = at;
      isDown = true;
    });
    if (one.isFilled && path && path.lastIndexOf("M") === 0)
      svg.append(make("path", { d: `${path}L${last} ${bottom}L${first} ${bottom}z`, fill: color, opacity: .12 }));
    svg.append(make("path", { d: path, fill: "none", stroke: color, "stroke-width": one.width || 1.8,
                              "stroke-linejoin": "round", "stroke-linecap": "round" }));
    if (one.points.length <= 60)
      one.points.filter(point => point[1] !== null).forEach(point => svg.append(
        make("circle", { cx: x(point[0]), cy: y(point[1]), r: 2.2, fill: color })));
  });
  const cursor = make("line", { class: "cursor", y1: place.top, y2: bottom });
  svg.append(cursor);
  cursors.push({ svg, cursor, x, width });
  return svg;
}

function nearest(points, time) {
  let low = 0, high = points.length - 1;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (points[middle][0] < time) low = middle + 1; else high = middle;
  }
  if (low > 0 && time - points[low - 1][0] < points[low][0] - time) low--;
  return points[low];
}
function watch(tag, svg, width) {
  svg.addEventListener("mousemove", event => {
    const box = svg.getBoundingClientRect();
    const share = ((event.clientX - box.left) / box.width * width - place.left) /
                  (width - place.left - place.right);
    const main = tag.points.length ? tag.points : tag.percentiles;
    const point = nearest(main, begin + Math.min(Math.max(share, 0), 1) * (end - begin));
    cursors.forEach(one => {
      one.cursor.setAttribute("x1", one.x(point[0]));
      one.cursor.setAttribute("x2", one.x(point[0]));
      one.cursor.style.visibility = "visible";
    });
    const lines = [full(point[0])];
    if (tag.points.length) lines.push(`${whole.format(point[1])} calls, average ` +
      `${point[1] ? milliseconds(point[2] / point[1]) : "\u2013"}, high ${milliseconds(point[3])}`);
    if (tag.percentiles.length) {
      const quantiles = nearest(tag.percentiles, point[0]);
      lines.push(["p50", "p90", "p99"].map((name, i) => `${name} ${milliseconds(quantiles[i + 1])}`).join(", "));
    }
    const tip = $("tip");
    tip.replaceChildren(...lines.map(line => make("div", {}, line)));
    tip.style.visibility = "visible";
    const isRight = event.clientX > innerWidth - tip.offsetWidth - 30;
    tip.style.left = event.clientX + (isRight ? -tip.offsetWidth - 14 : 14) + "px";
    tip.style.top = Math.max(event.clientY - tip.offsetHeight - 10, 4) + "px";
  });
  svg.addEventListener("mouseleave", () => {
    $("tip").style.visibility = "hidden";
    cursors.forEach(one => { one.cursor.style.visibility = "hidden"; });
  });
}

function key(name, color) { return make("span", { class: "key", style: `--c: var(--${color})` }, name); }

function card(tag) {
  const percentiles = tag.percentiles;
  const durations = [
    { color: "high", points: tag.points.map(point => [point[0], point[3]]) },
    { color: "average", points: tag.points.map(point => [point[0], point[1] ? point[2] / point[1] : null]),
      isFilled: true }];
  const quantiles = ["p50", "p90", "p99"].map((color, i) =>
    ({ color, width: 1.1, points: percentiles.map(point => [point[0], point[i + 1]]) }));
  const left = plot(place.width, durations.concat(quantiles), milliseconds);
  const calls = tag.points.map(point => [point[0], point[1]]);
  const narrow = place.width * 2 / 3;
  const right = plot(narrow, [{ color: "calls", points: calls, isBars: true }], short);
  watch(tag, left, place.width);
  watch(tag, right, narrow);
  const keys = make("h3", {}, key("average", "average"), key("high", "high"));
  if (percentiles.length) keys.append(key("p50", "p50"), key("p90", "p90"), key("p99", "p99"));
  const figures = make("p", { class: "figures" });
  const add = (name, value) => figures.append(name + " ", make("b", {}, value), "\u2002 ");
  add("count", whole.format(tag.calls));
  add("total", milliseconds(tag.total));
  add("average", milliseconds(tag.average));
  add("high", milliseconds(tag.high));
  if (tag.p99 !== null) add("p99", milliseconds(tag.p99));
  if (tag.resets) add("resets", whole.format(tag.resets));
  return make("section", { class: "card" }, make("h2", {}, tag.label), figures,
    make("div", { class: "plots" },
      make("div", { class: "plot" }, keys, left),
      make("div", { class: "plot" }, make("h3", {}, key("calls between two reports", "calls")), right)));
}

function spark(tag) {
  const values = tag.points.map(point => point[1] ? point[2] / point[1] : 0);
  const most = values.reduce((a, b) => Math.max(a, b), 0) || 1;
  const path = values.map((value, i) => `${i ? "L" : "M"}${(values.length > 1 ? i / (values.length - 1) * 118 : 59) + 1}` +
    ` ${(20 - value / most * 18).toFixed(1)}`).join("");
  return make("svg", { viewBox: "0 0 120 22" },
    make("path", { d: path, fill: "none", stroke: "var(--average)", "stroke-width": 1.4 }));
}

const columns = [["label", "Tag"], ["calls", "Count"], ["total", "Total"], ["share", "Share"], ["average", "Average"],
                 ["trend", "Average over time"], ["high", "High"], ["p50", "p50"], ["p90", "p90"], ["p99", "p99"]]
  .filter(([name]) => !/^p\d/.test(name) || tags.some(tag => tag.p50 !== null));

function cell(tag, name) {
  switch (name) {
  case "label": return tag.label;
  case "calls": return whole.format(tag.calls);
  case "share": {
    const share = allTotal ? tag.total / allTotal * 100 : 0;
    return make("span", {}, share.toFixed(share < 10 ? 1 : 0) + " % ",
      make("span", { class: "share" }, make("i", { style: `width:${share}%` })));
  }
  case "trend": return spark(tag);
  default: return milliseconds(tag[name]);
  }
}
function ordered() {
  const name = { share: "total", trend: "average" }[state.sort] || state.sort;
  const sign = state.descending ? -1 : 1;
  return tags.filter(tag => tag.label.toLowerCase().includes(state.filter)).sort((a, b) =>
    sign * (name === "label" ? a.label.localeCompare(b.label) : (a[name] ?? -1) - (b[name] ?? -1)));
}
function draw() {
  const list = ordered();
  cursors.length = 0;
  $("span").textContent = begin <= end
    ? `${whole.format(tags.length)} tags, reports from ${full(begin)} to ${full(end)}${state.isUtc ? " UTC" : ""}`
    : "There are no reports.";
  document.querySelector("thead tr").replaceChildren(...columns.map(([name, title]) => {
    const head = make("th", {}, title);
    if (name === state.sort) head.setAttribute("aria-sort", state.descending ? "descending" : "ascending");
    head.addEventListener("click", () => {
      state.descending = state.sort === name ? !state.descending : name !== "label";
      state.sort = name;
      draw();
    });
    return head;
  }));
  const shown = list.slice(0, state.shown);
  const cards = shown.map(card);
  document.querySelector("tbody").replaceChildren(...list.slice(0, 500).map((tag, i) => {
    const row = make("tr", {}, ...columns.map(([name]) => make("td", {}, cell(tag, name))));
    row.addEventListener("click", () => {
      if (i >= state.shown) { state.shown = i + 10; draw(); }
      document.querySelectorAll("section")[i].scrollIntoView({ behavior: "smooth", block: "center" });
    });
    return row;
  }));
  $("cards").replaceChildren(...cards);
  $("more").hidden = list.length <= state.shown;
}
function setTheme(name) {
  document.documentElement.dataset.theme = name;
  $("theme").textContent = name === "dark" ? "Light" : "Dark";
}
$("theme").addEventListener("click", () =>
  setTheme(document.documentElement.dataset.theme === "dark" ? "light" : "dark"));
$("filter").addEventListener("input", event => { state.filter = event.target.value.toLowerCase(); draw(); });
for (const [id, name] of [["scale", "isLog"], ["zone", "isUtc"]])
  $(id).addEventListener("click", () => {
    state[name] = !state[name];
    $(id).setAttribute("aria-pressed", state[name]);
    draw();
  });
$("more").addEventListener("click", () => { state.shown += 30; draw(); });
setTheme(matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light");
draw();
</script>
</body>
</html>
)html";

Json points_of(const Profile_Tag& tag)
{
    Json points = Json::array();
    for (const Profile_Point& point : tag.points.points())
        points.push_back({point.time, point.calls, point.total_ms, point.high_ms});
    return points;
}

Json percentiles_of(const Profile_Tag& tag)
{
    Json points = Json::array();
    for (const Profile_Percentiles& point : tag.percentiles.points())
        points.push_back({point.time, point.p50_ms, point.p90_ms, point.p99_ms});
    return points;
}

// A text as data within a script: no tag may end it.
std::string within_script(const Json& json)
{
    const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::string result;
    for (const char c : text)
        if (c == '<')
            result += "\\u003c";
        else
            result += c;
    return result;
}

} // namespace

std::string profile_page(const Profile_Data& data)
{
    Json tags = Json::array();
    std::string host;
    int hosts = 0;
    for (const auto& [name, tag] : data.tags()) { // in the order of hosts
        hosts += hosts == 0 || name.first != host ? 1 : 0;
        host = name.first;
        tags.push_back({{"host", name.first},
                        {"tag", name.second},
                        {"resets", tag.resets},
                        {"points", points_of(tag)},
                        {"percentiles", percentiles_of(tag)}});
    }
    return page_begin + within_script({{"hosts", hosts}, {"tags", tags}}) + page_end;
}

} // namespace krtool
