"use strict";
// The site's search, its light and dark colours, and its menu on narrow screens. The site is read from files:
// a script may not fetch them, so the index of the search is a script, too.
const root = document.documentElement;
const siteTop = document.currentScript.dataset.top;

const stored = () => { try { return localStorage.getItem("theme"); } catch { return null; } };
const store = (theme) => { try { localStorage.setItem("theme", theme); } catch { /* this page only */ } };
const preferred = () => (matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light");
const shownTheme = () => root.dataset.theme;
root.dataset.theme = stored() || preferred();
root.classList.add("scripted");

// Each entry: address, anchor, title of the page, title, text.
let entries = null;
let whenLoaded = [];
function kelinfraSearch(found) {
  entries = found.map((e) => [...e, e[3].toLowerCase(), e[4].toLowerCase()]);
  whenLoaded.forEach((f) => f());
  whenLoaded = [];
}

function load(then) {
  if (entries) return then();
  whenLoaded.push(then);
  if (whenLoaded.length > 1) return;
  const script = document.createElement("script");
  script.src = siteTop + "search.js";
  document.head.append(script);
}

// The lower, the better: whole title or last part of it, beginning, inside the title, in the text.
function rank(entry, words) {
  const [title, text] = [entry[5], entry[6]];
  if (!words.every((word) => title.includes(word) || text.includes(word))) return null;
  const last = title.split(/::|\.| /).pop();
  const word = words.join(" ");
  if (title === word || last === word) return 0;
  if (title.startsWith(word) || last.startsWith(word)) return 1;
  if (words.every((w) => title.includes(w))) return 2;
  return 3;
}

function find(query) {
  const words = query.toLowerCase().split(/\s+/).filter((word) => word);
  if (!words.length) return [];
  return entries.map((entry, at) => [rank(entry, words), at, entry]).filter(([r]) => r !== null)
    .sort((a, b) => a[0] - b[0] || a[1] - b[1]).map(([, , entry]) => [entry, words]);
}

function marked(element, text, words) {
  const lower = text.toLowerCase();
  let at = 0;
  while (at < text.length) {
    const [from, word] = words.map((w) => [lower.indexOf(w, at), w]).filter(([i]) => i >= 0)
      .sort((a, b) => a[0] - b[0])[0] || [text.length, ""];
    element.append(text.slice(at, from));
    if (word) {
      const mark = document.createElement("mark");
      mark.textContent = text.slice(from, from + word.length);
      element.append(mark);
    }
    at = from + word.length;
  }
}

function hit(entry, words) {
  const [address, anchor, page, title, text, , lower] = entry;
  const link = document.createElement("a");
  link.href = siteTop + address + "#" + encodeURIComponent(anchor);
  const name = document.createElement("b");
  marked(name, title === page ? title : title + " \u2013 " + page, words);
  const part = document.createElement("span");
  const places = words.map((word) => lower.indexOf(word)).filter((place) => place >= 0);
  const from = Math.max(0, (places.length ? Math.min(...places) : 0) - 50);
  marked(part, (from ? "\u2026" : "") + text.slice(from, from + 150), words);
  link.append(name, part);
  return link;
}

function start() {
  const query = document.getElementById("query");
  const results = document.getElementById("results");
  const theme = document.getElementById("theme");
  const menu = document.getElementById("menu");

  const show = () => load(() => {
    const found = find(query.value);
    results.hidden = !query.value.trim();
    const count = document.createElement("p");
    count.textContent = found.length === 1 ? "1 place" : found.length + " places";
    results.replaceChildren(count, ...found.map(([entry, words]) => hit(entry, words)));
    results.dataset.query = query.value;
  });
  const hide = () => { results.hidden = true; };
  query.addEventListener("input", show);
  query.addEventListener("click", () => query.value && show());
  results.addEventListener("click", hide);
  document.addEventListener("click", (event) => event.target.closest(".search") || hide());
  document.addEventListener("keydown", (event) => {
    const inSearch = event.target.closest(".search");
    if (event.key === "/" && event.target !== query) {
      event.preventDefault();
      query.focus();
      query.select();
    } else if (event.key === "Escape" && inSearch) {
      hide();
      query.focus();
    } else if (inSearch && (event.key === "ArrowDown" || event.key === "ArrowUp") && !results.hidden) {
      event.preventDefault();
      const stops = [query, ...results.querySelectorAll("a")];
      const next = stops.indexOf(document.activeElement) + (event.key === "ArrowDown" ? 1 : -1);
      if (stops[next]) stops[next].focus();
    } else if (event.key === "Enter" && event.target === query) {
      const first = results.querySelector("a");
      if (first && !results.hidden) first.click();
    }
  });

  const label = () => { theme.textContent = shownTheme() === "dark" ? "Light" : "Dark"; };
  theme.addEventListener("click", () => {
    root.dataset.theme = shownTheme() === "dark" ? "light" : "dark";
    store(shownTheme());
    label();
  });
  label();

  menu.addEventListener("click", () => {
    const shown = document.getElementById("navigation").classList.toggle("shown");
    menu.setAttribute("aria-expanded", String(shown));
  });
}
document.addEventListener("DOMContentLoaded", start);
