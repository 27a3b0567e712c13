// Profit and loss over the prices, as the picture that is downloaded; a pointer over it is told price and money.
import { ask, complain, element } from "./ask.js";

export function makePicture(place) {
  let client = null;
  let theme = "light";
  let isVisible = false;
  let shown = ""; // what the picture is of

  /// The point of a panel's lines that is nearest to a place.
  function nearest(panels, x, y) {
    let best = null;
    for (const panel of panels) {
      if (x < panel.left || x > panel.right || y < panel.top || y > panel.bottom) continue;
      for (const line of panel.lines)
        for (const [px, py, price, money] of line.points) {
          const distance = Math.hypot(px - x, py - y);
          if (!best || distance < best.distance) best = { distance, px, py, price, money, line: line.name, contract: panel.contract };
        }
    }
    return best;
  }

  function withHover(sheet, picture) {
    const dot = element("span", { className: "dot", hidden: true });
    const words = element("p", { className: "hover", hidden: true });
    sheet.append(dot, words);
    sheet.addEventListener("pointermove", (event) => {
      const frame = sheet.getBoundingClientRect();
      const scale = picture.width / frame.width;
      const found = nearest(picture.panels, (event.clientX - frame.left) * scale, (event.clientY - frame.top) * scale);
      dot.hidden = words.hidden = !found;
      if (!found) return;
      const left = found.px / scale;
      const top = found.py / scale;
      dot.style.left = left + "px";
      dot.style.top = top + "px";
      words.textContent = `${found.contract} at ${found.price}, ${found.line}: ${found.money}`;
      words.style.top = top + 12 + "px";
      words.style.left = Math.max(0, Math.min(left + 12, frame.width - words.offsetWidth)) + "px";
    });
    sheet.addEventListener("pointerleave", () => { dot.hidden = words.hidden = true; });
  }

  async function draw() {
    const wanted = `${client} ${theme}`;
    if (!client || !isVisible || wanted === shown) return;
    const picture = await ask("picture", { client, theme });
    if (!picture) return;
    if (picture.status !== 200) return complain(picture.error);
    shown = wanted;
    const sheet = element("div", { className: "sheet" }, element("img", {
      src: "data:image/svg+xml," + encodeURIComponent(picture.svg),
      alt: `Profit and loss of ${client} over the prices, with the worst cells`,
    }));
    withHover(sheet, picture);
    place.replaceChildren(sheet);
  }

  return {
    setClient(code) { client = code; shown = ""; draw(); },
    setTheme(name) { theme = name; draw(); },
    setVisible(yes) { isVisible = yes; draw(); },
  };
}
