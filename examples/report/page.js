// Lets a reader sort and filter the tables. Without it they are plain.
"use strict";

for (const table of document.querySelectorAll("table.sortable")) {
  addSorting(table);
  addFilter(table);
}

// A button in each heading: text goes upwards first, figures downwards.
function addSorting(table) {
  const headings = [...table.tHead.rows[0].cells];
  headings.forEach((heading, column) => {
    const button = document.createElement("button");
    button.type = "button";
    button.append(...heading.childNodes);
    heading.append(button);
    button.addEventListener("click", () => {
      const now = heading.getAttribute("aria-sort");
      const isAscending = now ? now === "descending" : heading.classList.contains("text");
      for (const other of headings) other.removeAttribute("aria-sort");
      heading.setAttribute("aria-sort", isAscending ? "ascending" : "descending");
      sort(table, column, isAscending ? 1 : -1);
    });
  });
}

// Cells without a figure come last both ways.
function sort(table, column, direction) {
  const isText = table.tHead.rows[0].cells[column].classList.contains("text");
  const valueOf = row => {
    const { dataset, textContent } = row.cells[column];
    return isText ? textContent : parseFloat(dataset.order ?? textContent.replaceAll(",", ""));
  };
  const compare = (a, b) =>
    isText ? direction * a.localeCompare(b) : isNaN(a) || isNaN(b) ? isNaN(a) - isNaN(b) : direction * (a - b);
  const rows = [...table.tBodies[0].rows].map(row => ({ row, value: valueOf(row) }));
  rows.sort((a, b) => compare(a.value, b.value));
  table.tBodies[0].append(...rows.map(({ row }) => row));
}

// A field above the table: rows without all of its words are hidden.
function addFilter(table) {
  const label = document.createElement("label");
  const input = document.createElement("input");
  input.type = "search";
  label.append("Show rows with", input);
  const status = document.createElement("span");
  status.className = "status";
  status.setAttribute("role", "status");
  const filter = document.createElement("div");
  filter.className = "filter";
  filter.append(label, status);
  table.parentElement.before(filter);
  input.addEventListener("input", () => {
    const words = input.value.toLowerCase().split(/\s+/);
    const rows = [...table.tBodies[0].rows];
    for (const row of rows) row.hidden = !words.every(word => row.textContent.toLowerCase().includes(word));
    status.textContent = `${rows.filter(row => !row.hidden).length} of ${rows.length} rows`;
  });
}
