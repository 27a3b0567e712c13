// Files that are handed to the desk: other positions, and orders to be tried. What is wrong stands beside the rows.
import { ask, element, save, signed, table } from "./ask.js";

export function makeFiles(place, { positionsChanged }) {
  const result = element("div", { id: "upload", role: "status" });

  /// Lines of a file with what is wrong with them.
  function faults(answer) {
    const ofLine = (line) => answer.problems.filter((problem) => problem.line === line)
      .map((problem) => element("p", { className: "message" },
        (problem.column ? `${problem.column}: ` : "") + (problem.value ? `"${problem.value}" ` : "") + problem.reason));
    const lines = answer.lines.map((line) => [String(line.line), element("td", { className: "text" }, line.text), element("td", {}, ofLine(line.line))]);
    const known = new Set(answer.lines.map((line) => line.line));
    const others = answer.problems.filter((problem) => !known.has(problem.line));
    return [element("p", {}, `${answer.file} was refused, and nothing has changed. ` +
      (answer.count === 1 ? "One thing is wrong:" : `${answer.count} things are wrong:`)),
    ...others.map((problem) => element("p", { className: "message" }, problem.text)),
    table("What is wrong", ["#Line", "Text", "What is wrong"], lines)];
  }

  function figures(answer, file) {
    const download = (format) => element("button", { type: "button",
      onclick: () => save({ what: "orders", format, ...file }, `what-ifs.${format}`) }, format.toUpperCase());
    return [element("p", {}, `${answer.file}: ${answer.rows} orders. `, download("csv"), " ", download("json")),
      table("What-ifs of the file", ["What-if", "Client", "#GO before", "#GO after", "#Difference", "#of volatility GO", "#of delivery GO"],
        answer.whatIfs.map((whatIf) => [whatIf.label, whatIf.client, whatIf.before.GO.text, whatIf.after.GO.text,
          signed(whatIf.difference.GO), signed(whatIf.difference.volatilityGO), signed(whatIf.difference.deliveryGO)]))];
  }

  async function take(request, chosen) {
    const file = { name: chosen.name, text: await chosen.text() };
    result.replaceChildren(element("p", { className: "dim" }, `Reading ${file.name}`));
    const answer = await ask(request, file);
    if (!answer) return;
    if (answer.problems) return result.replaceChildren(...faults(answer));
    if (answer.status !== 200) return result.replaceChildren(element("p", { className: "message" }, answer.error));
    if (request === "orders") return result.replaceChildren(...figures(answer, file));
    result.replaceChildren(element("p", {}, `The book now has the ${answer.rows} positions of ${answer.file}.`));
    await positionsChanged();
  }

  function drop(title, purpose, request) {
    const input = element("input", { type: "file", accept: ".csv,text/csv,text/plain", id: "upload-" + request });
    input.onchange = () => { if (input.files[0]) take(request, input.files[0]); input.value = ""; };
    const area = element("label", { className: "drop" }, element("b", {}, title), element("span", { className: "dim" }, purpose), input);
    area.ondragover = (event) => { event.preventDefault(); area.classList.add("over"); };
    area.ondragleave = () => area.classList.remove("over");
    area.ondrop = (event) => {
      event.preventDefault();
      area.classList.remove("over");
      if (event.dataTransfer.files[0]) take(request, event.dataTransfer.files[0]);
    };
    return area;
  }

  place.replaceChildren(element("div", { className: "drops" },
    drop("Positions", "take the place of the book's positions", "positions"),
    drop("Orders", "are tried and change nothing", "orders")), result);
}
