// Objects as they are stored. What comes is only the reason to count again: the service knows what
// matches.

import {address_of} from "./api.js";

const pause = 1500; // milliseconds, however many objects come
const long_pause = 5000; // until it is tried again

export function start(refresh) {
  let source = null;
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
  // Browsers try again where the connection broke, but not after an answer like "too many".
  const again_later = () => {
    if (source?.readyState !== EventSource.CLOSED) return;
    rest();
    setTimeout(follow, long_pause);
  };
  const listen = () => {
    source?.close();
    source = new EventSource(address_of.events());
    source.addEventListener("object", soon);
    source.addEventListener("unanswered", soon);
    source.addEventListener("error", again_later);
  };
  const rest = () => {
    source?.close();
    source = null;
  };
  // Browsers have few connections for a service: a page that nobody sees, in another tab or kept for
  // "back", would keep one of them. What it has missed is counted when it is seen again.
  const follow = () => {
    if (document.visibilityState === "hidden") {
      rest();
    } else if (!source) {
      listen();
      soon();
    }
  };
  document.addEventListener("visibilitychange", follow);
  addEventListener("pagehide", rest);
  addEventListener("pageshow", follow);
  listen();
}
