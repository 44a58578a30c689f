// What a browser finds wrong with a report page, as a list in the title of the page that it is framed by. The page is that of small_corpus.h, with
// a document more among the fish.
const found = [];
const expect = (holds, what) => holds || found.push(what);
window.addEventListener("error", event => found.push(event.message));

const channels = color => color.match(/[\d.]+/g).map(Number);
const over = (top, ground) => ground.map((under, i) => top[i] * (top[3] ?? 1) + under * (1 - (top[3] ?? 1)));
const groundOf = element =>
  element ? over(channels(getComputedStyle(element).backgroundColor), groundOf(element.parentElement)) : [255, 255, 255];
function lightness(color) {
  const [r, g, b] = color.map(c => (c / 255 <= 0.04045 ? c / 255 / 12.92 : ((c / 255 + 0.055) / 1.055) ** 2.4));
  return 0.05 + 0.2126 * r + 0.7152 * g + 0.0722 * b;
}
function contrast(element) {
  const { color, fill } = getComputedStyle(element);
  const shades = [channels(element.closest("svg") ? fill : color), groundOf(element)].map(c => lightness(c.slice(0, 3)));
  return Math.max(...shades) / Math.min(...shades);
}

addEventListener("load", () => {
  const all = query => [...document.querySelectorAll(query)];
  expect(document.documentElement.scrollWidth <= innerWidth, "wider than the window");
  expect(all("body *").every(e => !e.innerText || e.children.length || contrast(e) >= 4.5), "pale text");
  expect(all("svg text").every(e => contrast(e) >= 4.5 && e.getBoundingClientRect().width > 0), "pale or hidden figures");
  expect(all("h1, h2").map(e => e.tagName).join("").match(/^H1(H2)+$/), "headings");
  expect(["html[lang]", "body > header", "nav[aria-label]", "main"].every(q => all(q).length === 1), "landmarks");
  expect(all("[id]").every((e, i, list) => list.findIndex(other => other.id === e.id) === i), "an id twice");
  const names = all("section, .movable").map(e => e.ariaLabel ?? e.querySelector("h2").innerText);
  expect(new Set(names).size === names.length, "a name twice");
  expect(all("svg").every(e => e.getAttribute("aria-label")) && all("table").every(e => e.caption), "unnamed figures");
  expect(all("input, .movable").every(e => (e.labels?.length || e.ariaLabel) && e.tabIndex === 0), "unreachable parts");

  const table = document.querySelector("#classes table");
  const classes = () => [...table.tBodies[0].rows].filter(row => row.checkVisibility()).map(row => row.cells[0].innerText);
  const [byName, byCount] = table.querySelectorAll("thead button");
  for (const [button, order, first] of [
    [byCount, "descending", "fish"], [byCount, "ascending", "music"], [byName, "ascending", "fish"], [byName, "descending", "space"],
  ]) {
    button.click();
    expect(button.parentElement.ariaSort === order && classes()[0] === first, `${order} to ${first}`);
  }
  expect(table.querySelectorAll("[aria-sort]").length === 1 && table.tFoot.innerText.startsWith("all"), "order");
  const filter = document.querySelector("#classes input");
  for (const [words, rows] of [["US ic", "music"], ["fish music", ""], [" ", "space,music,fish"]]) {
    filter.value = words;
    filter.dispatchEvent(new Event("input"));
    expect(classes().join() === rows, `filter ${words}`);
  }
  const time = matchMedia("(prefers-color-scheme: dark)").matches ? "night" : "day";
  parent.document.title = `${innerWidth} pixels by ${time}: ${found.join("; ")}`;
});
