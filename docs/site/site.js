// The two things on a page of the manual that need a script: the choice between light and dark, and the search.
// Without a script the page follows the system's choice, and both controls stay hidden.
(function () {
  "use strict";

  const root = document.documentElement;
  const darkSystem = window.matchMedia("(prefers-color-scheme: dark)");

  // Light or dark

  function stored(key) {
    try { return localStorage.getItem(key); } catch (error) { return null; }
  }

  function store(key, value) {
    try { localStorage.setItem(key, value); } catch (error) { /* Chosen for this page alone. */ }
  }

  function isDark() {
    return root.dataset.theme ? root.dataset.theme === "dark" : darkSystem.matches;
  }

  // Before the page is drawn, so that it does not flash.
  const asked = new URLSearchParams(location.search);
  const theme = asked.get("theme") || stored("theme");
  if (theme === "dark" || theme === "light") root.dataset.theme = theme;

  function showThemeSwitch() {
    const button = document.getElementById("theme");
    const label = () => { button.textContent = isDark() ? "Light" : "Dark"; };
    button.addEventListener("click", () => {
      root.dataset.theme = isDark() ? "light" : "dark";
      store("theme", root.dataset.theme);
      label();
    });
    darkSystem.addEventListener("change", label);
    label();
    button.hidden = false;
  }

  // Search. searchSections, from search-index.js, is a list of [address, page, heading, text].

  const shown = 12;

  // How often the word begins a word of the text, and how often it stands elsewhere in it, which counts little.
  function count(text, word) {
    let begins = 0, inside = 0;
    for (let place = text.indexOf(word); place >= 0; place = text.indexOf(word, place + word.length)) {
      if (place === 0 || !/[\p{L}\p{N}]/u.test(text[place - 1])) begins += 1;
      else inside += 1;
    }
    return begins + Math.min(inside, 3) / 10;
  }

  // 0 when a word is missing; headings count more than text, whole headings most.
  function score(section, words) {
    const page = section[1].toLowerCase(), heading = section[2].toLowerCase(), text = section[3].toLowerCase();
    let total = 0;
    for (const word of words) {
      const found = 20 * count(heading, word) + 6 * count(page, word) + Math.min(5, count(text, word));
      if (found === 0) return 0;
      total += found;
      if (heading === word || heading === word + "()") total += 60;
      else if (heading.startsWith(word)) total += 15;
    }
    return total;
  }

  function matches(query) {
    const words = query.toLowerCase().split(/\s+/).filter(Boolean);
    if (words.length === 0) return [];
    return searchSections
      .map((section) => ({ section, words, score: score(section, words) }))
      .filter((match) => match.score > 0)
      .sort((one, other) => other.score - one.score);
  }

  function element(name, text, parent) {
    const made = document.createElement(name);
    made.textContent = text;
    parent.append(made);
    return made;
  }

  // Some words around the first hit, the hit marked.
  function excerpt(match, parent) {
    const text = match.section[3], lower = text.toLowerCase();
    const word = match.words.find((one) => lower.includes(one));
    const place = word ? lower.indexOf(word) : 0;
    const begin = Math.max(0, text.lastIndexOf(" ", Math.max(0, place - 50)) + 1);
    const line = element("span", (begin > 0 ? "… " : "") + text.slice(begin, place), parent);
    if (word) element("mark", text.slice(place, place + word.length), line);
    const end = text.length > begin + 150 ? text.lastIndexOf(" ", begin + 150) : text.length;
    line.append(text.slice(place + (word ? word.length : 0), end) + (end < text.length ? " …" : ""));
  }

  function showMatches(list, found, query) {
    list.replaceChildren();
    list.hidden = query.trim() === "";
    for (const match of found.slice(0, shown)) {
      const link = element("a", "", element("li", "", list));
      link.href = match.section[0];
      const title = element("b", match.section[2], link);
      if (match.section[1] !== match.section[2]) element("small", match.section[1], title);
      excerpt(match, link);
    }
    if (!list.hidden && found.length === 0) element("li", "Nothing found for “" + query.trim() + "”.", list);
    if (found.length > shown) element("li", (found.length - shown) + " more: add a word.", list);
  }

  function withIndex(action) {
    if (window.searchSections) return action();
    const script = document.createElement("script");
    script.src = "search-index.js";
    script.onload = action;
    document.head.append(script);
  }

  function showSearch() {
    const form = document.getElementById("search"), field = form.elements.q, list = form.querySelector("ul");
    const search = () => withIndex(() => showMatches(list, matches(field.value), field.value));
    const move = (step) => {
      const links = [field, ...list.querySelectorAll("a")];
      const next = links[links.indexOf(document.activeElement) + step];
      if (next) next.focus();
    };
    field.addEventListener("input", search);
    form.addEventListener("submit", (event) => {
      event.preventDefault();
      const first = list.querySelector("a");
      if (first) location.href = first.href;
    });
    form.addEventListener("keydown", (event) => {
      if (event.key === "Escape") { list.hidden = true; field.focus(); }
      if (event.key === "ArrowDown" || event.key === "ArrowUp") { event.preventDefault(); move(event.key === "ArrowDown" ? 1 : -1); }
    });
    document.addEventListener("keydown", (event) => {
      if (event.key === "/" && document.activeElement !== field) { event.preventDefault(); field.focus(); }
    });
    document.addEventListener("click", (event) => { if (!form.contains(event.target)) list.hidden = true; });
    form.hidden = false;
    if (asked.get("q")) { field.value = asked.get("q"); search(); }
  }

  document.addEventListener("DOMContentLoaded", () => { showThemeSwitch(); showSearch(); });
})();
