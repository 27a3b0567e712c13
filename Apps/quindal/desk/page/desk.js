// The desk: loads the book, shows one client, hands what is typed to the views.
import { ask, complain, save } from "./ask.js";
import { makeTree } from "./tree.js";
import { showClient } from "./client.js";
import { makePicture } from "./picture.js";
import { makeTicket } from "./ticket.js";
import { makeBasket } from "./basket.js";
import { makeFiles } from "./files.js";

const byId = (id) => document.getElementById(id);
let client = null; // code of the one that is open

const tree = makeTree(open);
const picture = makePicture(byId("picture"));
const basket = makeBasket(byId("kept"), open);
const ticket = makeTicket((whatIf) => basket.keep(whatIf));
makeFiles(byId("files"), { positionsChanged: bookChanged });

const nameOf = (path) => path.split("/").pop();

// ---- The book

async function loaded() {
  for (;;) {
    const state = await ask("state");
    if (state?.loaded) break;
    if (state) {
      byId("loading-text").textContent = state.total ? `Loading ${state.what}: ${state.done} of ${state.total}` : "Loading";
      if (state.total) { byId("loading-bar").max = state.total; byId("loading-bar").value = state.done; }
    }
    await new Promise((done) => setTimeout(done, state ? 100 : 2000));
  }
  performance.mark("book-loaded");
}

async function showBook() {
  const book = await ask("book");
  if (!book || book.status !== 200) return complain(book?.error ?? "The book cannot be shown.");
  tree.show(book);
  byId("loading").hidden = true;
  requestAnimationFrame(() => performance.mark("tree-drawn"));
  const market = book.provenance.market;
  byId("origin").textContent = `${nameOf(market.file ?? market.server)}, ${market.changed ?? market.received ?? "time unknown"} \u00b7 ` +
    `${nameOf(book.positionsFile)}${book.provenance.currency ? " \u00b7 " + book.provenance.currency : ""}`;
  byId("origin").title = `${market.file ?? market.server}, ${book.positionsFile}, SHA-256 of the market ${market.sha256}, library ${book.provenance["library"]}`;
  byId("warnings").hidden = book.warnings.length === 0;
  byId("warnings").textContent = book.warnings.length === 1 ? "1 warning" : `${book.warnings.length} warnings`;
  byId("warnings").onclick = () => complain(book.warnings.join("\n"));
}

async function bookChanged() {
  await showBook();
  if (client) await open(client);
  await basket.refresh();
}

// ---- A client

async function open(code) {
  const answer = await ask("client", { client: code });
  if (!answer) return;
  if (answer.status !== 200) return complain(answer.error);
  client = code;
  tree.select(code);
  showClient(answer);
  ticket.setClient(code);
  picture.setClient(code);
}

// ---- Views, menus, keys

const tabs = [...document.querySelectorAll('[role="tab"]')];
function choose(tab) {
  for (const other of tabs) {
    const isChosen = other === tab;
    other.setAttribute("aria-selected", String(isChosen));
    other.tabIndex = isChosen ? 0 : -1;
    byId(other.getAttribute("aria-controls")).hidden = !isChosen;
  }
  picture.setVisible(tab.id === "tab-picture");
}
for (const [i, tab] of tabs.entries()) {
  tab.onclick = () => choose(tab);
  tab.onkeydown = (event) => {
    const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (!step) return;
    const next = tabs[(i + step + tabs.length) % tabs.length];
    choose(next);
    next.focus();
  };
}

for (const button of byId("downloads").querySelectorAll("button"))
  button.onclick = () => {
    const { what, format } = button.dataset;
    byId("downloads").open = false;
    if (what === "client" && !client) return complain("Open a client first.");
    if (what === "whatifs" && basket.isEmpty()) return complain("No what-if has been kept.");
    const name = what === "client" ? client : what;
    save({ what, format, client: client ?? "", whatIfs: basket.whatIfs() }, `${name}.${format}`);
  };

function isDark() {
  const chosen = document.documentElement.dataset.theme;
  return chosen ? chosen === "dark" : matchMedia("(prefers-color-scheme: dark)").matches;
}
function showTheme() {
  byId("theme").textContent = isDark() ? "Light" : "Dark";
  picture.setTheme(isDark() ? "dark" : "light");
}
if (localStorage.getItem("theme")) document.documentElement.dataset.theme = localStorage.getItem("theme");
byId("theme").onclick = () => {
  document.documentElement.dataset.theme = isDark() ? "light" : "dark";
  localStorage.setItem("theme", document.documentElement.dataset.theme);
  showTheme();
};
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", showTheme);
showTheme();

document.addEventListener("keydown", (event) => {
  const isTyping = event.target.matches("input, select, textarea");
  if (event.key === "Escape") {
    byId("downloads").open = false;
    byId("alert").hidden = true;
    if (isTyping && event.target.id !== "search") event.target.blur();
  }
  if (isTyping || event.ctrlKey || event.metaKey || event.altKey) return;
  if (event.key === "/") { event.preventDefault(); byId("search").focus(); }
  if (event.key === "o") { event.preventDefault(); ticket.focus(); }
});

await loaded();
await showBook();
byId("search").focus();
