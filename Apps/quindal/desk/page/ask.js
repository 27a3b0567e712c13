// Requests to the desk, and what all views share.

const token = import.meta.url.split("/")[4]; // .../page/TOKEN/ask.js

async function send(name, body, signal) {
  return fetch("/api/" + name, {
    method: "POST",
    headers: { "Content-Type": "application/json", "X-Quindal-Token": token },
    body: JSON.stringify(body),
    signal,
  });
}

/// The answer to a request: its status and its JSON. Nothing when the request was given up.
export async function ask(name, body = {}, signal = undefined) {
  try {
    const response = await send(name, body, signal);
    const answer = await response.json();
    return { status: response.status, ...answer };
  } catch (error) {
    if (error.name === "AbortError") return null;
    complain("The desk does not answer. Has quindal desk been ended?");
    return null;
  }
}

/// Saves the answer to a request as a file.
export async function save(body, name) {
  const response = await send("download", body);
  if (!response.ok) {
    complain((await response.json()).error ?? "This cannot be downloaded.");
    return;
  }
  const link = element("a", { href: URL.createObjectURL(await response.blob()), download: name });
  document.body.append(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

let silence;
/// Shows what went wrong for some seconds.
export function complain(text) {
  const alert = document.getElementById("alert");
  alert.textContent = text;
  alert.hidden = false;
  clearTimeout(silence);
  silence = setTimeout(() => { alert.hidden = true; }, 8000);
}

/// An element with properties and children: texts, elements, lists of them; what is null is left out.
export function element(name, properties = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key.includes("-") || key === "role" || key === "for") made.setAttribute(key, value);
    else made[key] = value;
  }
  made.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return made;
}

/// A table: names of the columns, those that hold figures with a "#" before them, and rows of cells.
export function table(caption, columns, rows) {
  const head = columns.map((column) => element("th", { scope: "col", className: column.startsWith("#") ? "number" : "" },
    column.replace("#", "")));
  const cells = (row) => row.map((cell, i) => cell instanceof HTMLTableCellElement ? cell
    : element("td", { className: columns[i].startsWith("#") ? "number" : "" }, cell));
  return element("table", {}, element("caption", { className: "hidden" }, caption),
    element("thead", {}, element("tr", {}, head)),
    element("tbody", {}, rows.map((row) => row instanceof HTMLTableRowElement ? row : element("tr", {}, cells(row)))));
}

/// Class of a difference: money that is added is a loss.
export function tone(money) {
  return money.text.startsWith("-") ? "gain" : money.text === "0.00" ? "" : "loss";
}

/// The same with a sign before money that is added.
export function signed(money) {
  return element("span", { className: tone(money) }, (tone(money) === "loss" ? "+" : "") + money.text);
}
