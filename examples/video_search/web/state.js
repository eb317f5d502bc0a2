// The search, as it stands in the query of the address; the object that is open, in its fragment.
// Parameters have the names that the service gives them, so that an address is a search as it is.

const known = ["from", "to", "hours", "sensor", "class", "min_score", "color", "colors", "min_area",
  "min_duration", "max_duration", "stood_in", "crossed", "sort"];
const listeners = new Set();
let search = read_search();

function read_search() {
  const found = {};
  const query = new URLSearchParams(location.search);
  for (const key of known) {
    const values = query.getAll(key).filter((value) => value !== "");
    if (values.length) found[key] = values.join(",");
  }
  return found;
}

// The parameters in a fixed order; without some of them.
export function query_of(values = search, without = []) {
  const query = new URLSearchParams();
  for (const key of known)
    if (values[key] && !without.includes(key)) query.set(key, values[key]);
  return query.toString();
}

export const current = () => search;
export const colors = () => (search.color ? search.color.split(",") : []);

// For the address bar: commas, colons and slashes may be read there as they are.
function readable(query) {
  return query.replaceAll("%2C", ",").replaceAll("%3A", ":").replaceAll("%2F", "/");
}

function tell(change) {
  for (const listener of listeners) listener(change);
}

export function on_change(listener) {
  listeners.add(listener);
}

// Changes some parameters; null takes one away. A new entry of the history.
export function change(values) {
  const next = {...search, ...values};
  for (const key of Object.keys(next))
    if (next[key] === null || next[key] === "") delete next[key];
  if (query_of(next) === query_of()) return;
  search = next;
  const query = readable(query_of());
  history.pushState({}, "", query ? `/?${query}` : "/");
  tell("search");
}

export function clear() {
  const keep = search.sort ? {sort: search.sort} : {};
  change({...Object.fromEntries(known.map((key) => [key, null])), ...keep});
}

// {key: "3.1/42", time: "2014-..."} or null.
export function opened() {
  const parts = new URLSearchParams(location.hash.slice(1));
  const key = parts.get("object");
  return key && /^\d+\.\d+\/\d+$/.test(key) ? {key, time: parts.get("t")} : null;
}

function address_with(fragment) {
  return location.pathname + location.search + fragment;
}

const fragment_of = (key, time) => `#object=${key}${time ? `&t=${time}` : ""}`;

export function link_of(key, time) {
  return location.origin + address_with(fragment_of(key, time));
}

// Opens an object: a new entry, so that "back" closes it. From one object to the next, and from one
// moment to the next, the entry is the same one.
export function open(key, time = null) {
  const next = address_with(fragment_of(key, time));
  if (opened()) history.replaceState(history.state, "", next);
  else history.pushState({is_opened_here: true}, "", next);
  tell("object");
}

export function note_moment(key, time) {
  if (opened()?.key === key)
    history.replaceState(history.state, "", address_with(fragment_of(key, time)));
}

export function close() {
  if (!opened()) return;
  if (history.state?.is_opened_here) {
    history.back();
  } else {
    history.replaceState({}, "", address_with(""));
    tell("object");
  }
}

let shown = query_of();

addEventListener("popstate", () => {
  search = read_search();
  const is_same = query_of() === shown;
  if (!is_same) tell("search");
  tell("object");
});

on_change(() => { shown = query_of(); });
