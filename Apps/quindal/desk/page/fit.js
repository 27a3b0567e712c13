// The largest quantity that fits into a margin, or into the money that is free.
import { ask } from "./ask.js";

/// `orderOf` gives the one order of the ticket, or null; `take` puts a quantity into it.
export function makeFit(orderOf, take) {
  const money = document.getElementById("fit-money");
  const told = document.getElementById("fit-answer");

  function say(text, isFault) {
    told.textContent = text;
    told.className = isFault ? "message" : "";
    money.setAttribute("aria-invalid", String(isFault));
  }

  function words(answer) {
    const left = (figures) => `GO ${figures.GO.text}, ${figures.used.text} used`;
    if (!answer.with) return `No quantity fits: without an order the GO is ${answer.without.GO.text}.`;
    const most = `${answer.with.quantity} fit: ${left(answer.with)}.`;
    return answer.next ? `${most} With ${answer.next.quantity}: ${left(answer.next)}.` : `${most} More were not tried.`;
  }

  document.getElementById("fit").addEventListener("submit", async (event) => {
    event.preventDefault();
    const order = orderOf();
    if (!order) return say("Open a client, and choose the instrument and the side of one order.", true);
    const answer = await ask("fit", { order, of: document.getElementById("fit-of").value, money: money.value.trim() });
    if (!answer) return;
    if (answer.problems) return say(answer.problems.map((fault) => `${fault.column}: "${fault.value}" ${fault.reason}`).join("; "), true);
    if (answer.status !== 200) return say(answer.error, true);
    say(words(answer), false);
    if (answer.with && answer.with.quantity > 0) take(String(answer.with.quantity));
  });

  return { clear: () => say("", false) };
}
