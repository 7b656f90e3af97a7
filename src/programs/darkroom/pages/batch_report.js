"use strict";
// Table, filter and scatter of the report of a batch. All state is in the address behind the #, so that a view can be
// handed on: sort, order (asc, desc), filter, status (compared, failed), by, min, max, page, x, y.
(function () {
const data = JSON.parse(document.getElementById("data").textContent);
const names = data.coefficients;
const byId = (id) => document.getElementById(id);
const collator = new Intl.Collator("en", {numeric: true});
const pageLength = 50;
const svgNamespace = "http://www.w3.org/2000/svg";

// One object a pair; `lowest` is the least of its coefficients but for that of the hue.
const pairs = data.pairs.map((row) => {
    const pair = {};
    data.fields.forEach((field, k) => { pair[field] = row[k]; });
    const numbers = names.filter((name) => name !== "hue").map((name) => pair[name]).filter((value) => value !== null);
    pair.lowest = numbers.length ? Math.min(...numbers) : null;
    data.columns.forEach((column, k) => { pair["list:" + column] = pair.carried[k]; });
    pair.text = [pair.id, pair.first, pair.second, pair.error || "", ...pair.carried].join("\n").toLowerCase();
    return pair;
});
const quantities = ["lowest", ...names];
const columns = [
    {key: "position", title: "#", number: true},
    {key: "id", title: "pair"},
    ...quantities.map((name) => ({key: name, title: name, number: true})),
    ...data.columns.map((name) => ({key: "list:" + name, title: name})),
];
const isNumeric = new Set(columns.filter((column) => column.number).map((column) => column.key));

const defaults = {sort: "lowest", order: "asc", filter: "", status: "all", by: "lowest", min: "", max: "", page: "1",
    x: names[0], y: names[2]};
let state = {...defaults};

function readAddress() {
    state = {...defaults};
    for (const [key, value] of new URLSearchParams(location.hash.slice(1))) {
        if (key in defaults) { state[key] = value; }
    }
    if (!columns.some((column) => column.key === state.sort)) { state.sort = defaults.sort; }
    for (const key of ["x", "y"]) { if (!quantities.includes(state[key])) { state[key] = defaults[key]; } }
    if (!quantities.includes(state.by)) { state.by = defaults.by; }
    if (!["all", "compared", "failed"].includes(state.status)) { state.status = "all"; }
}

function writeAddress() {
    const changed = Object.entries(state).filter(([key, value]) => value !== defaults[key]);
    const text = new URLSearchParams(changed).toString();
    // Not location.hash: every letter of a filter would be a step of the browser's history.
    history.replaceState(null, "", text ? "#" + text : location.pathname + location.search);
}

function element(name, text, className) {
    const made = document.createElement(name);
    if (text !== undefined) { made.textContent = text; }
    if (className) { made.className = className; }
    return made;
}

function numberText(value) {
    return value === null ? "–" : value.toFixed(5);
}

// --- which pairs are shown, and in which order

let shown = pairs;

function select() {
    const words = state.filter.trim().toLowerCase();
    const least = state.min.trim() === "" ? NaN : Number(state.min);
    const greatest = state.max.trim() === "" ? NaN : Number(state.max);
    shown = pairs.filter((pair) => {
        if (words && !pair.text.includes(words)) { return false; }
        if (state.status !== "all" && (pair.error !== null) !== (state.status === "failed")) { return false; }
        const value = pair[state.by];
        if (!Number.isNaN(least) && (value === null || value < least)) { return false; }
        return Number.isNaN(greatest) || (value !== null && value <= greatest);
    });
    const key = state.sort;
    const sign = state.order === "desc" ? -1 : 1;
    const compare = isNumeric.has(key) ? (a, b) => a - b : (a, b) => collator.compare(a, b);
    shown.sort((a, b) => {
        const left = a[key], right = b[key];
        // What has no value stands last, whatever the order.
        if (left === null || right === null) { return (left === null) - (right === null) || a.position - b.position; }
        return sign * compare(left, right) || a.position - b.position;
    });
}

// --- table

function thumbnails(pair) {
    const cell = element("td", undefined, "pictures");
    for (const path of [pair.first, pair.second]) {
        const place = data.places[path];
        if (place !== undefined) {
            const image = element("img");
            image.src = data.pictures[place];
            image.alt = path;
            cell.append(image);
        }
    }
    return cell;
}

function drawHead() {
    const row = element("tr");
    row.append(element("th", "", "pictures"));
    for (const column of columns) {
        const head = element("th", undefined, column.number ? "number" : "");
        const sorted = state.sort === column.key;
        const button = element("button", column.title + (sorted ? (state.order === "desc" ? " ▼" : " ▲") : ""));
        button.type = "button";
        button.dataset.sort = column.key;
        if (sorted) { head.setAttribute("aria-sort", state.order === "desc" ? "descending" : "ascending"); }
        button.addEventListener("click", () => {
            state.order = sorted && state.order === "asc" ? "desc" : "asc";
            state.sort = column.key;
            state.page = "1";
            update();
            byId("table").tHead.querySelector(`[data-sort="${CSS.escape(column.key)}"]`).focus();
        });
        head.append(button);
        row.append(head);
    }
    byId("table").tHead.replaceChildren(row);
}

function drawRow(pair) {
    const row = element("tr");
    row.dataset.position = pair.position;
    row.append(thumbnails(pair));
    for (const column of columns) {
        if (column.key === "id") {
            const cell = element("td", undefined, "long pair");
            cell.append(element("strong", pair.id));
            if (pair.first + "|" + pair.second !== pair.id) {
                cell.append(element("span", pair.first), element("span", pair.second));
            }
            if (pair.size) { cell.append(element("span", pair.size)); }
            if (pair.error !== null) { cell.append(element("span", pair.error, "bad")); }
            row.append(cell);
        } else if (quantities.includes(column.key)) {
            row.append(element("td", numberText(pair[column.key]), "number"));
        } else {
            row.append(element("td", String(pair[column.key]), column.number ? "number" : "long"));
        }
        row.lastChild.dataset.label = column.title;
    }
    return row;
}

function drawTable() {
    const pages = Math.max(1, Math.ceil(shown.length / pageLength));
    const page = Math.min(pages, Math.max(1, Math.trunc(Number(state.page)) || 1));
    state.page = String(page);
    const begin = (page - 1) * pageLength;
    const end = Math.min(shown.length, begin + pageLength);
    drawHead();
    byId("table").tBodies[0].replaceChildren(...shown.slice(begin, end).map(drawRow));
    byId("shown").textContent = shown.length === 0 ? "No pair is like this."
        : `${(begin + 1).toLocaleString("en")}–${end.toLocaleString("en")} of ${shown.length.toLocaleString("en")} pairs`;
    byId("previous").disabled = page === 1;
    byId("next").disabled = page === pages;
    byId("page").textContent = `page ${page.toLocaleString("en")} of ${pages.toLocaleString("en")}`;
}

// --- scatter

const plot = {left: 50, right: 12, top: 10, bottom: 40, width: 460, height: 320};
let dots = [];

function roundStep(range, wanted) {
    const raw = range / wanted;
    const power = 10 ** Math.floor(Math.log10(raw));
    return power * ([1, 2, 5].find((factor) => raw <= factor * power) || 10);
}

function axisOf(values) {
    let low = Infinity, high = -Infinity;
    for (const value of values) { low = Math.min(low, value); high = Math.max(high, value); }
    if (low > high) { low = 0; high = 1; }
    if (high - low < 1e-6) { low -= 5e-4; high += 5e-4; }
    const step = roundStep(high - low, 6);
    // A coefficient may be above 1 by a rounding: no further step for that.
    const from = Math.floor(low / step + 1e-9) * step, to = Math.ceil(high / step - 1e-4) * step;
    const digits = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
    const ticks = [];
    for (let k = 0; from + k * step <= to + step * 1e-6; ++k) { ticks.push(from + k * step); }
    return {low: from, high: to, ticks, text: (value) => value.toFixed(digits)};
}

function shape(name, attributes, text) {
    const made = document.createElementNS(svgNamespace, name);
    for (const [key, value] of Object.entries(attributes)) { made.setAttribute(key, value); }
    if (text !== undefined) { made.textContent = text; }
    return made;
}

function drawScatter() {
    const drawn = shown.filter((pair) => pair[state.x] !== null && pair[state.y] !== null);
    const xAxis = axisOf(drawn.map((pair) => pair[state.x]));
    const yAxis = axisOf(drawn.map((pair) => pair[state.y]));
    const bottom = plot.height - plot.bottom, right = plot.width - plot.right;
    const across = (value) => plot.left + (value - xAxis.low) / (xAxis.high - xAxis.low) * (right - plot.left);
    const up = (value) => bottom - (value - yAxis.low) / (yAxis.high - yAxis.low) * (bottom - plot.top);
    const svg = byId("scatter");
    const parts = [shape("title", {}, `${state.y} against ${state.x}`)];
    for (const tick of xAxis.ticks) {
        parts.push(shape("path", {class: "grid", d: `M${across(tick).toFixed(1)} ${plot.top}V${bottom}`}),
            shape("text", {class: "tick", x: across(tick).toFixed(1), y: bottom + 17, "text-anchor": "middle"},
                xAxis.text(tick)));
    }
    for (const tick of yAxis.ticks) {
        parts.push(shape("path", {class: "grid", d: `M${plot.left} ${up(tick).toFixed(1)}H${right}`}),
            shape("text", {class: "tick", x: plot.left - 6, y: (up(tick) + 4).toFixed(1), "text-anchor": "end"},
                yAxis.text(tick)));
    }
    const middle = (plot.top + bottom) / 2;
    parts.push(shape("path", {class: "axis", d: `M${plot.left} ${plot.top}V${bottom}H${right}`}),
        shape("text", {x: (plot.left + right) / 2, y: plot.height - 8, "text-anchor": "middle"}, state.x),
        shape("text", {x: 14, y: middle, "text-anchor": "middle", transform: `rotate(-90 14 ${middle})`}, state.y));
    dots = drawn.map((pair) => ({pair, x: across(pair[state.x]), y: up(pair[state.y])}));
    // One path for all of them: round ends of lines without length.
    parts.push(shape("path", {id: "dots", class: dots.length > 1000 ? "points many" : "points",
        d: dots.map((dot) => `M${dot.x.toFixed(1)} ${dot.y.toFixed(1)}h0`).join("")}),
        shape("circle", {id: "mark", r: 5, cx: -20, cy: -20}));
    svg.replaceChildren(...parts);
    byId("point").textContent = `${dots.length.toLocaleString("en")} pairs. Point at one to see which it is; a click shows ` +
        "it in the table.";
}

function nearest(event) {
    const svg = byId("scatter");
    const place = new DOMPoint(event.clientX, event.clientY).matrixTransform(svg.getScreenCTM().inverse());
    let best = null, least = 20 * 20;
    for (const dot of dots) {
        const distance = (dot.x - place.x) ** 2 + (dot.y - place.y) ** 2;
        if (distance < least) { least = distance; best = dot; }
    }
    if (best) {
        byId("mark").setAttribute("cx", best.x);
        byId("mark").setAttribute("cy", best.y);
        byId("point").textContent = `${best.pair.id}: ${state.x} ${numberText(best.pair[state.x])}, ` +
            `${state.y} ${numberText(best.pair[state.y])}`;
    }
    return best;
}

// --- what the reader changes

function update() {
    select();
    drawTable();
    drawScatter();
    for (const key of ["filter", "status", "by", "min", "max", "x", "y"]) {
        if (byId("set-" + key).value !== state[key]) { byId("set-" + key).value = state[key]; }
    }
    writeAddress();
}

for (const key of ["by", "x", "y"]) {
    byId("set-" + key).replaceChildren(...quantities.map((name) => new Option(name, name)));
}
for (const key of ["filter", "status", "by", "min", "max"]) {
    byId("set-" + key).addEventListener("input", (event) => {
        state[key] = event.target.value;
        state.page = "1";
        update();
    });
}
for (const key of ["x", "y"]) {
    byId("set-" + key).addEventListener("input", (event) => { state[key] = event.target.value; update(); });
}
for (const [id, step] of [["previous", -1], ["next", 1]]) {
    byId(id).addEventListener("click", () => {
        state.page = String(Number(state.page) + step);
        update();
        byId("pairs").scrollIntoView();
    });
}
byId("clear").addEventListener("click", () => {
    state = {...defaults, x: state.x, y: state.y};
    update();
});
byId("scatter").addEventListener("pointermove", nearest);
byId("scatter").addEventListener("click", (event) => {
    const dot = nearest(event);
    if (dot) {
        state = {...defaults, x: state.x, y: state.y, filter: dot.pair.id};
        update();
        byId("pairs").scrollIntoView();
    }
});
window.addEventListener("hashchange", () => { readAddress(); update(); });
readAddress();
update();
})();
