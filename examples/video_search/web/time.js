// Times are whole microseconds since 1970, which a number holds exactly until the year 2255.

const second = 1e6;
const minute = 60 * second;
const hour = 60 * minute;
const day = 24 * hour;

let is_local = false;
export const zone_name = Intl.DateTimeFormat().resolvedOptions().timeZone || "local";

export function show_local(value) {
  is_local = value;
}

export const shows_local = () => is_local;

// "2014-03-05T12:00:00.100000Z", with any offset, and what people type: "2014/03/05 12:00:00.1". NaN for
// others.
export function parse_time(text) {
  const parts = /^(\d{4})[-/](\d\d)[-/](\d\d)[T ](\d\d):(\d\d)(?::(\d\d)(?:\.(\d{1,6})\d*)?)?(?:Z|([+-])(\d\d):?(\d\d))?$/
    .exec(text ?? "");
  if (!parts) return NaN;
  const [, year, month, date, h, m, s = "0", fraction = "", sign = "+", hours = "0", minutes = "0"] = parts;
  const offset = (Number(hours) * hour + Number(minutes) * minute) * (sign === "+" ? 1 : -1);
  return Date.UTC(year, month - 1, date, h, m, s) * 1000 + Number(fraction.padEnd(6, "0")) - offset;
}

export function iso(time) {
  const whole = Math.floor(time / second);
  const rest = Math.round(time - whole * second);
  return `${new Date(whole * 1000).toISOString().slice(0, 19)}.${String(rest).padStart(6, "0")}Z`;
}

const formats = new Map();

// Year, month, day, hour, minute, second as texts, in the zone.
function parts_of(time, local) {
  const zone = local ? zone_name : "UTC";
  if (!formats.has(zone))
    formats.set(zone, new Intl.DateTimeFormat("en-GB", {timeZone: zone === "local" ? undefined : zone,
      year: "numeric", month: "2-digit", day: "2-digit", hour: "2-digit", minute: "2-digit",
      second: "2-digit", hourCycle: "h23"}));
  const parts = {};
  for (const {type, value} of formats.get(zone).formatToParts(new Date(Math.floor(time / 1000))))
    parts[type] = value;
  return parts;
}

export function date_text(time, local = is_local) {
  const {year, month, day: date} = parts_of(time, local);
  return `${year}-${month}-${date}`;
}

// "12:00:41.9", with as many digits of the fraction as are asked for.
export function clock_text(time, digits = 0, local = is_local) {
  const {hour: h, minute: m, second: s} = parts_of(time, local);
  const rest = ((time % second) + second) % second;
  const fraction = digits ? `.${String(Math.floor(rest)).padStart(6, "0").slice(0, digits)}` : "";
  return `${h}:${m}:${s}${fraction}`;
}

export const zone_text = (local = is_local) => (local ? zone_name : "UTC");

// "4.2 s", "3 min 10 s", "2 h 5 min".
export function duration_text(seconds) {
  if (seconds < 60) return `${Number(seconds.toFixed(seconds < 10 ? 1 : 0))} s`;
  const whole = Math.round(seconds);
  if (whole < 3600) return `${Math.floor(whole / 60)} min${whole % 60 ? ` ${whole % 60} s` : ""}`;
  const minutes = Math.round(whole / 60);
  if (minutes < 48 * 60) return `${Math.floor(minutes / 60)} h${minutes % 60 ? ` ${minutes % 60} min` : ""}`;
  return `${Math.round(minutes / 1440)} days`;
}

const steps = [second / 10, second / 5, second / 2, second, 2 * second, 5 * second, 10 * second,
  15 * second, 30 * second, minute, 2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute,
  hour, 2 * hour, 3 * hour, 6 * hour, 12 * hour, day, 2 * day, 7 * day, 14 * day, 30 * day,
  90 * day, 365 * day];

// Times for the marks of an axis, at most so many, with their labels.
export function marks(from, to, most) {
  const step = steps.find((each) => (to - from) / each <= most) ?? 365 * day;
  const shift = is_local ? new Date(from / 1000).getTimezoneOffset() * -minute : 0;
  const list = [];
  for (let time = Math.ceil((from + shift) / step) * step - shift; time <= to; time += step) {
    let label = clock_text(time).slice(0, step < minute ? 8 : 5);
    if (step < second) label = clock_text(time, 1);
    if (step >= day) label = date_text(time).slice(5);
    list.push({time, label});
  }
  return list;
}
