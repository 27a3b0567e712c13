// The tree of accounts, firms and clients. Rows are drawn only where they can be seen.
import { element } from "./ask.js";

const height = 24; // of a row, as desk.css has it

/// Calls `open` with the code of the client that somebody opens.
export function makeTree(open) {
  const tree = document.getElementById("tree");
  const space = document.getElementById("rows");
  const search = document.getElementById("search");
  const count = document.getElementById("count");
  let roots = [];        // accounts with firms with clients
  let rows = [];         // what is open, from top to bottom
  let active = 0;        // row that the keys are at
  let selected = null;   // code of the open client
  const closed = new Set();

  function nodesOf(book) {
    const accounts = new Map(book.accounts.map(([code, go]) => [code, { kind: "account", code, go, below: [] }]));
    const loose = { kind: "account", code: "", go: "", below: [] };
    const firms = new Map();
    for (const [code, account, go] of book.firms) {
      const firm = { kind: "firm", code, go, below: [] };
      firms.set(code, firm);
      (accounts.get(account) ?? loose).below.push(firm);
    }
    for (const [code, firm, go] of book.clients) firms.get(firm)?.below.push({ kind: "client", code, go, below: [] });
    return [...accounts.values(), ...(loose.below.length ? [loose] : [])];
  }

  const keyOf = (node) => node.kind + " " + node.code;
  const isOpen = (node) => search.value !== "" || !closed.has(keyOf(node));

  /// Rows of a node whose code, or that of something below, has the text; all below a node that has it.
  function collect(node, level, text, into) {
    const isFound = node.code.toUpperCase().includes(text);
    const at = into.length;
    const hasRow = node.kind !== "account" || node.code !== "";
    if (hasRow) into.push({ node, level });
    if (isOpen(node)) for (const child of node.below) collect(child, level + (hasRow ? 1 : 0), isFound ? "" : text, into);
    const hasAny = into.length > at + (hasRow ? 1 : 0);
    if (!isFound && !hasAny && text !== "") into.length = at;
  }

  function rebuild() {
    const before = rows[active]?.node;
    rows = [];
    const text = search.value.trim().toUpperCase();
    for (const root of roots) collect(root, 1, text, rows);
    space.style.height = rows.length * height + "px";
    const clients = rows.filter((row) => row.node.kind === "client").length;
    count.textContent = `${clients} ${clients === 1 ? "client" : "clients"}${text ? " found" : ""}`;
    const at = rows.findIndex((row) => row.node === before);
    active = at >= 0 ? at : 0;
    draw();
  }

  function drawn(row, i) {
    const { node, level } = row;
    const made = element("div", {
      id: "node-" + i, className: `node ${node.kind}${i === active ? " active" : ""}`, role: "treeitem",
      "aria-level": level, "aria-setsize": rows.length, "aria-posinset": i + 1,
      "aria-selected": String(node.kind === "client" && node.code === selected),
      onclick: () => { goTo(i); act(node); },
    }, element("span", { className: "twist", "aria-hidden": "true" }, node.below.length ? (isOpen(node) ? "\u25be" : "\u25b8") : ""),
    element("span", { className: "code" }, node.code), element("span", { className: "number" }, node.go));
    made.setAttribute("aria-label", `${node.kind} ${node.code}, GO ${node.go}`);
    if (node.below.length) made.setAttribute("aria-expanded", String(isOpen(node)));
    made.style.top = i * height + "px";
    return made;
  }

  function draw() {
    const first = Math.max(0, Math.floor(tree.scrollTop / height) - 10);
    const last = Math.min(rows.length, first + Math.ceil(tree.clientHeight / height) + 20);
    space.replaceChildren(...rows.slice(first, last).map((row, i) => drawn(row, first + i)));
    tree.setAttribute("aria-activedescendant", "node-" + active);
  }

  function goTo(i) {
    active = Math.max(0, Math.min(i, rows.length - 1));
    const top = active * height;
    if (top < tree.scrollTop) tree.scrollTop = top;
    if (top + height > tree.scrollTop + tree.clientHeight) tree.scrollTop = top + height - tree.clientHeight;
    draw();
  }

  function setOpen(node, isToBeOpen) {
    if (isToBeOpen) closed.delete(keyOf(node)); else closed.add(keyOf(node));
    rebuild();
  }
  function act(node) {
    if (node.kind === "client") open(node.code); else setOpen(node, !isOpen(node));
  }
  function parentOf(i) {
    let at = i;
    while (at > 0 && rows[at].level >= rows[i].level) --at;
    return at;
  }

  const page = () => Math.floor(tree.clientHeight / height);
  const keys = {
    ArrowDown: () => goTo(active + 1),
    ArrowUp: () => goTo(active - 1),
    PageDown: () => goTo(active + page()),
    PageUp: () => goTo(active - page()),
    Home: () => goTo(0),
    End: () => goTo(rows.length - 1),
    Enter: () => rows[active] && act(rows[active].node),
    ArrowRight: () => {
      const { node } = rows[active];
      if (!node.below.length) return;
      if (isOpen(node)) goTo(active + 1); else setOpen(node, true);
    },
    ArrowLeft: () => {
      const { node } = rows[active];
      if (node.below.length && isOpen(node) && search.value === "") setOpen(node, false); else goTo(parentOf(active));
    },
  };

  tree.addEventListener("keydown", (event) => {
    if (!keys[event.key] || rows.length === 0) return;
    event.preventDefault();
    keys[event.key]();
  });
  tree.addEventListener("scroll", () => requestAnimationFrame(draw), { passive: true });
  new ResizeObserver(draw).observe(tree);

  const firstClient = () => rows.findIndex((row) => row.node.kind === "client");
  search.addEventListener("input", () => { rebuild(); goTo(Math.max(firstClient(), 0)); });
  search.addEventListener("keydown", (event) => {
    if (event.key === "Enter" && rows[active]?.node.kind === "client") open(rows[active].node.code);
    else if (event.key === "ArrowDown" || event.key === "ArrowUp") { event.preventDefault(); keys[event.key](); }
    else if (event.key === "Escape") { search.value = ""; rebuild(); goTo(active); tree.focus(); }
  });

  return {
    show(book) { roots = nodesOf(book); rebuild(); },
    select(code) {
      selected = code;
      const at = rows.findIndex((row) => row.node.kind === "client" && row.node.code === code);
      if (at >= 0) goTo(at); else draw();
    },
  };
}
