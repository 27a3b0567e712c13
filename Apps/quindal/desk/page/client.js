// One client: figures, what netting saves, worst cells, shares.
import { element, table } from "./ask.js";

function figure(name, text, className = "") {
  return element("div", { className }, element("dt", {}, name), element("dd", { id: "figure-" + name.replaceAll(" ", "-") }, text));
}

function bar(part, className = "") {
  const line = element("i", { className });
  line.style.left = "0";
  line.style.width = Math.abs(part) * 100 + "%";
  return element("td", { className: "bar", "aria-hidden": "true" }, line);
}

/// A section that opens and closes, and stays as it was for the next client.
const openParts = new Map();
function part(title, ...content) {
  const made = element("details", { className: "part", open: openParts.get(title) ?? true },
    element("summary", {}, title), ...content);
  made.addEventListener("toggle", () => openParts.set(title, made.open));
  return made;
}

function levels(client) {
  return table("What netting saves", ["Netting", "#Margin", "#Saved", ""],
    client.levels.map((level) => [level.name, level.margin, level.saved, bar(level.bar)]));
}

/// Rows of worst cells; those of a part stand below a row that opens them.
function worstCells(client) {
  const isLong = client.worst.length > 16;
  const rows = [];
  let owner = null; // row that the next ones belong to
  for (const [i, cell] of client.worst.entries()) {
    const isOwner = cell.depth === 0 && client.worst[i + 1]?.depth > 0;
    const text = isOwner
      ? element("button", { type: "button", className: "opener", "aria-expanded": String(!isLong) }, cell.of)
      : cell.of;
    const row = element("tr", {}, element("td", { className: "depth" + cell.depth }, text), element("td", {}, cell.side),
      element("td", {}, cell.cell), element("td", { className: "number" }, cell.result),
      element("td", { className: "number" }, cell.margin));
    if (isOwner) {
      const below = [];
      owner = { below };
      text.addEventListener("click", () => {
        const isOpen = text.getAttribute("aria-expanded") !== "true";
        text.setAttribute("aria-expanded", String(isOpen));
        for (const other of below) other.hidden = !isOpen;
      });
    } else if (cell.depth > 0 && owner) {
      row.hidden = isLong;
      owner.below.push(row);
    }
    rows.push(row);
  }
  return table("Worst cells", ["Margin of", "Side", "Worst cell", "#Result", "#Margin"], rows);
}

function shares(client) {
  return table("Shares of the positions", ["Share of", "", "In the margin of", "#Quantity", "#Price", "#Share", "#Part", ""],
    client.shares.map((share) => [share.instrument, share.kind === "position" ? "" : share.kind, share.of, share.quantity, share.price, share.share, share.part,
      bar(share.bar, share.bar < 0 ? "down" : "up")]));
}

export function showClient(client) {
  document.getElementById("name").textContent = client.code;
  document.getElementById("above").textContent =
    `firm ${client.firm}${client.account ? ", account " + client.account : ""}`;
  document.getElementById("figures").replaceChildren(figure("Volatility GO", client.volatilityGO.text),
    figure("Delivery GO", client.deliveryGO.text), figure("GO", client.GO.text, "main"));
  const why = document.getElementById("why");
  if (client.shares.length === 0) {
    why.replaceChildren(element("p", { className: "words" }, "Nothing is held."));
    return;
  }
  why.replaceChildren(part("What netting saves", levels(client)), part("Worst cells", worstCells(client)),
    part("Share of each position", shares(client)),
    element("p", { className: "words" }, `Delivery GO has the weight ${client.weight}` +
      (client.ratio === "1" ? "." : `, and the margin is taken times ${client.ratio}.`)),
    element("p", { className: "words" }, client.words.map((word) => `${word.word}: ${word.meaning}. `).join("")));
  why.scrollTop = 0;
}
