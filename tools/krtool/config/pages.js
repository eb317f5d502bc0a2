"use strict";
// What both pages have in common: names, the library's arithmetic, and maps.

const NAMES = ["without a name", "white", "black", "gray", "light_blue", "dark_blue", "brown", "light_green",
               "dark_green", "yellow", "orange", "red", "pink", "purple"];
const f32 = Math.fround;

function element(tag, attributes = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes))
    if (name === "style") node.style.cssText = value; else node[name] = value;
  node.append(...children);
  return node;
}

function percent(share) {
  const number = 100 * share;
  return number.toFixed(number !== 0 && number < 0.1 ? 4 : 2) + " %";
}

function namesOf(mask) {
  const names = NAMES.filter((name, n) => mask >> n & 1);
  return names.length ? names.join(" and ") : "no name";
}

function hex(rgb) {
  return "#" + rgb.map(c => c.toString(16).padStart(2, "0")).join("").toUpperCase();
}

// As KR_Colors::rgb_to_hsv(), in single precision.
function hsvOfRgb([red, green, blue]) {
  const r = f32(red / 255), g = f32(green / 255), b = f32(blue / 255);
  const max = Math.max(r, g, b), min = Math.min(r, g, b);
  if (max === min) return [-1, 0, max];
  const delta = f32(max - min);
  let h = r === max ? f32(f32(g - b) / delta)
        : g === max ? f32(f32(f32(b - r) / delta) + 2)
        : f32(f32(f32(r - g) / delta) + 4);
  h = f32(h * 60);
  if (h < 0) h = f32(h + 360);
  return [Math.trunc(h), f32(delta / max), max];
}

function rgbOfHsv([hue, s, v]) {
  const h = hue / 60, i = Math.floor(h), f = h - i;
  const p = (1 - s) * v, q = (1 - f * s) * v, t = (1 - (1 - f) * s) * v;
  const rgb = hue < 0 ? [v, v, v] : [[v, t, p], [q, v, p], [p, v, t], [p, q, v], [t, p, v]][i] || [v, p, q];
  return rgb.map(c => Math.trunc(c * 255));
}

const mod360 = hue => (hue % 360 + 360) % 360;

function prepared(ranges) {
  for (const range of ranges) {
    range.first = mod360(range.hue[0]);
    range.last = mod360(range.hue[1]);
    range.s = range.sat.map(x => x === null ? NaN : f32(x));
    range.v = range.val.map(x => x === null ? NaN : f32(x));
  }
  return ranges;
}

function holds(range, [hue, s, v]) {
  hue = Math.max(hue, 0);
  return range.s[0] <= s && s <= range.s[1] && range.v[0] <= v && v <= range.v[1] &&
    (range.last > range.first ? range.first <= hue && hue <= range.last : hue >= range.first || hue <= range.last);
}

function maskOf(ranges, hsv) {
  let mask = 0;
  for (const range of ranges) if (holds(range, hsv)) mask |= 1 << range.preset;
  return mask;
}

// The names at HUES x STEPS x STEPS places.
const HUES = 180, STEPS = 50;
const hueAt = i => Math.floor(i * 360 / HUES);
const stepAt = i => f32((i + 0.5) / STEPS);

function lattice(ranges) {
  const masks = new Uint16Array(HUES * STEPS * STEPS);
  for (let h = 0; h < HUES; ++h) {
    const near = ranges.filter(range => range.last > range.first
      ? range.first <= hueAt(h) && hueAt(h) <= range.last : hueAt(h) >= range.first || hueAt(h) <= range.last);
    for (let s = 0; s < STEPS; ++s)
      for (let v = 0; v < STEPS; ++v)
        masks[(h * STEPS + s) * STEPS + v] = maskOf(near, [hueAt(h), stepAt(s), stepAt(v)]);
  }
  return {at: (h, s, v) => masks[(h * STEPS + s) * STEPS + v]};
}

const several = mask => (mask & mask - 1) !== 0;

// Draws a map of HUES x STEPS cells. cell(hue, step) gives {rgb, hatched, gap}.
function drawMap(canvas, cell, scale) {
  canvas.width = HUES * scale;
  canvas.height = STEPS * scale;
  const context = canvas.getContext("2d");
  for (let h = 0; h < HUES; ++h)
    for (let step = 0; step < STEPS; ++step) {
      const {rgb, hatched, gap} = cell(h, step);
      const x = h * scale, y = (STEPS - 1 - step) * scale;
      context.fillStyle = gap ? ((h >> 1) + (step >> 1) & 1 ? "#f0f" : "#000") : `rgb(${rgb})`;
      context.fillRect(x, y, scale, scale);
      if (hatched && (h + step) % 4 === 0) {
        context.fillStyle = rgb[0] * 3 + rgb[1] * 6 + rgb[2] > 1200 ? "rgba(0,0,0,.55)" : "rgba(255,255,255,.6)";
        context.fillRect(x, y, scale, scale);
      }
    }
  return context;
}

// Lines where names change, and the names themselves in the larger areas.
function drawBorders(context, mask, scale) {
  context.fillStyle = "rgba(0,0,0,.85)";
  for (let h = 0; h < HUES; ++h)
    for (let step = 0; step < STEPS; ++step) {
      const own = mask(h, step), x = h * scale, y = (STEPS - 1 - step) * scale;
      if (h + 1 < HUES && mask(h + 1, step) !== own) context.fillRect(x + scale - 1, y, 1.5, scale);
      if (step > 0 && mask(h, step - 1) !== own) context.fillRect(x, y + scale - 1, scale, 1.5);
    }
  const seen = new Uint8Array(HUES * STEPS);
  context.font = "600 12px system-ui, sans-serif";
  context.textAlign = "center";
  context.textBaseline = "middle";
  for (let start = 0; start < seen.length; ++start) {
    if (seen[start]) continue;
    const own = mask(Math.floor(start / STEPS), start % STEPS), area = [start];
    seen[start] = 1;
    for (let i = 0; i < area.length; ++i) {
      const h = Math.floor(area[i] / STEPS), step = area[i] % STEPS;
      for (const [nh, ns] of [[h + 1, step], [h - 1, step], [h, step + 1], [h, step - 1]]) {
        const n = nh * STEPS + ns;
        if (nh < 0 || nh >= HUES || ns < 0 || ns >= STEPS || seen[n] || mask(nh, ns) !== own) continue;
        seen[n] = 1;
        area.push(n);
      }
    }
    if (area.length < 140 || several(own) || !own) continue;
    const mean = part => area.reduce((sum, n) => sum + part(n), 0) / area.length;
    const h = mean(n => Math.floor(n / STEPS)), step = mean(n => n % STEPS);
    const text = namesOf(own).replace("_", " ");
    const x = Math.min(Math.max((h + .5) * scale, context.measureText(text).width / 2 + 3),
                       HUES * scale - context.measureText(text).width / 2 - 3);
    const y = (STEPS - step - .5) * scale;
    context.lineWidth = 3;
    context.strokeStyle = "rgba(0,0,0,.65)";
    context.strokeText(text, x, y);
    context.fillStyle = "#fff";
    context.fillText(text, x, y);
  }
}
