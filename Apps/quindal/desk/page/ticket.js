// The order ticket: what is typed is tried at once.
import { ask, element, signed } from "./ask.js";
import { makeFit } from "./fit.js";

const patience = 40; // milliseconds without a key before orders are tried

/// Suggests instruments below a text field.
function suggestInstruments(input, place, chosen) {
  const list = element("ul", { className: "suggestions", role: "listbox", id: input.id + "-list", hidden: true });
  place.append(list);
  let found = [];
  let at = -1;
  let asked = 0;

  function mark(i) {
    at = i;
    for (const [k, item] of [...list.children].entries()) item.setAttribute("aria-selected", String(k === at));
    if (at >= 0) { list.children[at].scrollIntoView({ block: "nearest" }); input.setAttribute("aria-activedescendant", list.children[at].id); }
    else input.removeAttribute("aria-activedescendant");
  }
  function close() { list.hidden = true; input.setAttribute("aria-expanded", "false"); mark(-1); }
  function take(i) { input.value = found[i].code; close(); chosen(); }

  async function suggest() {
    const number = ++asked;
    const answer = await ask("instruments", { search: input.value.trim() });
    if (number !== asked || !answer?.instruments || document.activeElement !== input) return;
    found = answer.instruments;
    list.replaceChildren(...found.map((instrument, i) => element("li", {
      role: "option", id: `${list.id}-${i}`, "aria-selected": "false", onpointerdown: (event) => { event.preventDefault(); take(i); },
    }, element("span", {}, instrument.code), element("span", { className: "dim" }, `${instrument.kind} ${instrument.price}`))));
    const isWhole = found.length === 1 && found[0].code === input.value.trim();
    list.hidden = found.length === 0 || isWhole;
    input.setAttribute("aria-expanded", String(!list.hidden));
    mark(-1);
  }

  input.addEventListener("input", suggest);
  input.addEventListener("focus", suggest);
  input.addEventListener("blur", close);
  input.addEventListener("keydown", (event) => {
    if (list.hidden) { if (event.key === "ArrowDown") suggest(); return; }
    if (event.key === "ArrowDown") { event.preventDefault(); mark(Math.min(at + 1, found.length - 1)); }
    else if (event.key === "ArrowUp") { event.preventDefault(); mark(Math.max(at - 1, 0)); }
    else if (event.key === "Enter" && at >= 0) { event.preventDefault(); take(at); }
    else if (event.key === "Escape") { event.stopPropagation(); close(); }
  });
}

/// Calls `keep` with a what-if that somebody wants to keep.
export function makeTicket(keep) {
  const form = document.getElementById("ticket");
  const place = document.getElementById("orders");
  const answerPlace = document.getElementById("answer");
  const keepButton = document.getElementById("keep");
  let client = null;
  let lines = [];      // the orders: their fields and the place for a fault
  let number = 0;      // of the next order, for names of fields
  let tried = null;    // the last answer, with its orders
  let timer = null;    // runs while the last key is fresh
  let running = null;  // request that is under way

  function field(label, input) { return element("label", {}, element("span", {}, label), input); }

  function addLine() {
    const id = `order-${++number}`;
    const fields = {
      instrument: element("input", { id: id + "-instrument", role: "combobox", spellcheck: false, "aria-autocomplete": "list",
        "aria-expanded": "false", "aria-controls": `${id}-instrument-list` }),
      side: element("select", { id: id + "-side" }, element("option", { value: "buy" }, "buy"), element("option", { value: "sell" }, "sell")),
      quantity: element("input", { id: id + "-quantity", inputMode: "numeric", className: "number" }),
      price: element("input", { id: id + "-price", inputMode: "decimal", className: "number", placeholder: "calculated" }),
    };
    const instrument = element("div", { className: "instrument" }, field("Instrument", fields.instrument));
    const fault = element("p", { className: "fault", id: id + "-fault", role: "alert", hidden: true });
    const line = { fields, fault };
    const remove = element("button", { type: "button", className: "plain remove", "aria-label": "Remove this order", title: "Remove this order",
      onclick: () => removeLine(line) }, "\u00d7");
    line.row = element("div", { className: "order", role: "group", "aria-label": "Order" }, instrument, remove,
      field("Side", fields.side), field("Quantity", fields.quantity), field("Price", fields.price), fault);
    suggestInstruments(fields.instrument, instrument, tryLater);
    for (const input of Object.values(fields)) {
      input.setAttribute("aria-describedby", fault.id);
      input.addEventListener("input", tryLater);
    }
    lines.push(line);
    place.append(line.row);
    return line;
  }

  function removeLine(line) {
    lines = lines.filter((other) => other !== line);
    line.row.remove();
    if (lines.length === 0) addLine();
    tryLater();
  }

  const isTyped = (line) => line.fields.instrument.value.trim() !== "" && line.fields.quantity.value.trim() !== "";
  const orderOf = (line) => ({ client, instrument: line.fields.instrument.value.trim(), side: line.fields.side.value,
    quantity: line.fields.quantity.value.trim(), price: line.fields.price.value.trim() });

  function showFaults(problems, typed) {
    for (const line of lines) {
      line.fault.hidden = true;
      for (const input of Object.values(line.fields)) input.setAttribute("aria-invalid", "false");
    }
    for (const problem of problems) {
      const line = typed[problem.line - 1];
      if (!line) continue;
      line.fields[problem.column]?.setAttribute("aria-invalid", "true");
      line.fault.textContent = `${problem.column || "order"}: ${problem.value ? `"${problem.value}" ` : ""}${problem.reason}`;
      line.fault.hidden = false;
    }
  }

  function showFigures(whatIf) {
    const { before, after, difference } = whatIf;
    const row = (name, id, value, className = "") =>
      [element("dt", { className }, name), element("dd", { className, id }, value)];
    answerPlace.replaceChildren(element("dl", {}, row("GO before", "go-before", before.GO.text),
      row("GO after", "go-after", after.GO.text, "main"), row("Difference", "go-difference", signed(difference.GO)),
      row("of volatility GO", "volatility-difference", signed(difference.volatilityGO)),
      row("of delivery GO", "delivery-difference", signed(difference.deliveryGO))));
  }

  function forget() {
    clearTimeout(timer);
    timer = null;
    running?.abort();
    tried = null;
    keepButton.disabled = !client || !lines.some(isTyped);
  }

  async function tryNow() {
    forget();
    const typed = lines.filter(isTyped);
    if (!client || typed.length === 0) { answerPlace.replaceChildren(); showFaults([], typed); return; }
    running = new AbortController();
    const orders = typed.map(orderOf);
    const answer = await ask("whatif", { whatIfs: [{ label: "ticket", orders }] }, running.signal);
    if (!answer) return;
    showFaults(answer.problems ?? [], typed);
    if (answer.status !== 200) {
      answerPlace.replaceChildren(answer.error ? element("p", { className: "message" }, answer.error) : "");
      return;
    }
    tried = { client, orders };
    showFigures(answer.whatIfs[0]);
  }
  function tryLater() { forget(); timer = setTimeout(tryNow, patience); }

  /// Keeps what is typed, tried first where it has not been yet.
  async function keepIt() {
    if (!tried) await tryNow();
    if (tried) keep(tried);
  }
  form.addEventListener("submit", (event) => { event.preventDefault(); keepIt(); });
  document.getElementById("add-order").onclick = () => addLine().fields.instrument.focus();
  addLine();

  /// The order that a largest quantity is asked for; none while there are several.
  function orderToFit() {
    if (!client || lines.length !== 1 || lines[0].fields.instrument.value.trim() === "") return null;
    const { quantity, ...order } = orderOf(lines[0]);
    return order;
  }
  const fit = makeFit(orderToFit, (quantity) => { lines[0].fields.quantity.value = quantity; tryNow(); });

  return {
    setClient(code) {
      client = code;
      fit.clear();
      document.getElementById("ticket-client").textContent = `Orders of ${code} that nobody has sent`;
      tryNow();
    },
    focus() { lines[0].fields.instrument.focus(); },
  };
}
