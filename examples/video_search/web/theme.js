// Dark or light before anything is painted: what was chosen here, else what the system prefers.
"use strict";
(() => {
  const system = matchMedia("(prefers-color-scheme: dark)");
  const read = () => {
    try { return localStorage.getItem("theme"); } catch { return null; }
  };
  const apply = () => {
    const chosen = read();
    document.documentElement.dataset.theme = chosen || (system.matches ? "dark" : "light");
  };
  apply();
  system.addEventListener("change", apply);
})();
