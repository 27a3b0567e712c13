// What-ifs that were kept, side by side. They are tried again when the book changes.
import { ask, element, signed, table } from "./ask.js";

const wordsOf = (order) => `${order.side} ${order.quantity} ${order.instrument}${order.price ? " at " + order.price : ""}`;

/// Calls `open` with the client of a what-if that somebody wants to see.
export function makeBasket(place, open) {
  let kept = []; // label and orders
  let number = 0;

  const whatIfs = () => kept.map(({ label, orders }) => ({ label, orders }));

  function row(whatIf, figures) {
    const drop = element("button", { type: "button", className: "plain", "aria-label": `Drop ${whatIf.label}`, title: "Drop it",
      onclick: () => { kept = kept.filter((other) => other !== whatIf); refresh(); } }, "\u00d7");
    const client = element("button", { type: "button", className: "plain", onclick: () => open(figures.client) }, figures.client);
    return [whatIf.label, client, whatIf.orders.map(wordsOf).join(", "), figures.before.GO.text, figures.after.GO.text,
      signed(figures.difference.GO), signed(figures.difference.volatilityGO), signed(figures.difference.deliveryGO), drop];
  }

  async function refresh() {
    if (kept.length === 0) {
      place.replaceChildren(element("p", { className: "dim" }, "None yet. A what-if that is kept stays here beside the others."));
      return;
    }
    const answer = await ask("whatif", { whatIfs: whatIfs() });
    if (!answer) return;
    if (answer.status !== 200) {
      place.replaceChildren(element("p", { className: "message" }, answer.error ?? answer.problems.map((problem) => problem.text).join("\n")));
      return;
    }
    const rows = answer.whatIfs.map((figures) => row(kept.find((whatIf) => whatIf.label === figures.label), figures));
    place.replaceChildren(table("What-ifs kept",
      ["What-if", "Client", "Orders", "#GO before", "#GO after", "#Difference", "#of volatility GO", "#of delivery GO", ""], rows));
  }

  refresh();
  return {
    keep(whatIf) {
      let label = whatIf.label ?? `#${++number}`;
      while (kept.some((other) => other.label === label)) label += "'";
      kept.push({ label, orders: whatIf.orders });
      refresh();
    },
    refresh, whatIfs,
    isEmpty: () => kept.length === 0,
  };
}
