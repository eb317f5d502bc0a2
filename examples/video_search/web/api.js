// The service: addresses, and answers or one kind of error.

export class Api_Error extends Error {
  constructor(status, code, message, parameter) {
    super(message);
    Object.assign(this, {status, code, parameter});
  }
}

export async function fetch_json(address, signal) {
  let response;
  try {
    response = await fetch(address, {signal, headers: {Accept: "application/json"}});
  } catch (error) {
    if (error.name === "AbortError") throw error;
    throw new Api_Error(0, "unreachable", "The service does not answer. Is it still running?");
  }
  let answer = null;
  try {
    answer = await response.json();
  } catch (error) {
    if (error.name === "AbortError") throw error;
  }
  if (response.ok && answer !== null) return answer;
  const told = answer?.error;
  throw new Api_Error(response.status, told?.code ?? "unknown",
    told?.message ?? `The service answered with status ${response.status}.`, told?.parameter);
}

export const is_abort = (error) => error.name === "AbortError";

const object_path = (key) => {
  const [sensor, id] = key.split("/");
  return `/api/objects/${encodeURIComponent(sensor)}/${encodeURIComponent(id)}`;
};

export const address_of = {
  recordings: () => "/api/recordings",
  presets: () => "/api/presets",
  events: () => "/api/events",
  still: (run) => `/api/recordings/${encodeURIComponent(run)}/still.jpg`,
  object: object_path,
  frame: (key, time) => `${object_path(key)}/frame.jpg?time=${encodeURIComponent(time)}`,
  search: (query, cursor, limit) => {
    const all = new URLSearchParams(query);
    all.set("limit", limit);
    if (cursor) all.set("cursor", cursor);
    return `/api/search?${all}`;
  },
  csv: (query) => `/api/search.csv?${query}`,
  density: (query, from, to, buckets) => {
    const all = new URLSearchParams(query);
    all.delete("sort");
    all.set("from", from ?? all.get("from") ?? "1970-01-01T00:00:00.000000Z"); // it wants both
    all.set("to", to ?? all.get("to") ?? "2999-12-31T23:59:59.000000Z");
    all.set("buckets", buckets);
    return `/api/density?${all}`;
  },
};

export const key_of = (object) => `${object.sensor}/${object.id}`;
