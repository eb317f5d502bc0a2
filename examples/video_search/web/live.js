// Objects as they are stored. What comes is only the reason to count again: the service knows what
// matches.

import {address_of} from "./api.js";

const pause = 1500; // milliseconds, however many objects come

export function start(refresh) {
  let timer = 0;
  const soon = () => {
    if (timer) return;
    timer = setTimeout(async () => {
      try {
        await refresh();
      } catch { /* the next one tells */ }
      timer = 0;
    }, pause);
  };
  const source = new EventSource(address_of.events());
  source.addEventListener("object", soon);
}
