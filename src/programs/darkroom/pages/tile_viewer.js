"use strict";
// Two photographs, one over the other with a divider or side by side, under one zoom, with the tiles over them.
(function () {
const data = JSON.parse(document.getElementById("tile-data").textContent);
const byId = (id) => document.getElementById(id);
const stage = byId("stage");
const panes = [{name: "first", size: data.first}, {name: "second", size: data.second}];
const svgNamespace = "http://www.w3.org/2000/svg";
const state = {side: false, divider: 50, zoom: 1, x: 0.5, y: 0.5, quantity: "least", tile: data.worst};

function leastOf(tile) {
    const numbers = tile.coefficients.filter((value) => value !== null);
    return numbers.length ? Math.min(...numbers) : null;
}

function valueOf(tile) {
    return state.quantity === "least" ? leastOf(tile) : tile.coefficients[data.correlates.indexOf(state.quantity)];
}

function colorOf(value) {
    const share = (value - data.low) / (1 - data.low);
    return data.colors[Math.max(0, Math.min(data.colors.length - 1, Math.floor(share * data.colors.length)))];
}

for (const pane of panes) {
    pane.element = stage.querySelector("." + pane.name);
    pane.layer = pane.element.querySelector(".layer");
    const svg = document.createElementNS(svgNamespace, "svg");
    svg.setAttribute("viewBox", "0 0 1 1");
    svg.setAttribute("preserveAspectRatio", "none");
    svg.setAttribute("aria-hidden", "true");
    pane.rects = data.tiles.map((tile) => {
        const [x, y, width, height] = tile[pane.name];
        const rect = document.createElementNS(svgNamespace, "rect");
        rect.setAttribute("x", x / pane.size[0]);
        rect.setAttribute("y", y / pane.size[1]);
        rect.setAttribute("width", width / pane.size[0]);
        rect.setAttribute("height", height / pane.size[1]);
        svg.append(rect);
        return rect;
    });
    pane.layer.append(svg);
    pane.svg = svg;
}

function sentenceOf(index) {
    const tile = data.tiles[index];
    const [x, y, width, height] = tile.first;
    const numbers = data.correlates.map((name, k) =>
        name + " " + (tile.coefficients[k] === null ? "none" : tile.coefficients[k].toFixed(5)));
    return "Tile in column " + index % data.columns + ", row " + Math.floor(index / data.columns) + " (x " + x + ", y " +
        y + ", " + width + " × " + height + " pixels): " + numbers.join(", ") +
        (tile.few ? ". It has few pixels: its coefficients are low by chance." : ".");
}

function drawTiles() {
    for (const pane of panes) {
        pane.svg.style.display = state.quantity ? "" : "none";
        pane.rects.forEach((rect, index) => {
            const value = state.quantity ? valueOf(data.tiles[index]) : null;
            rect.setAttribute("fill", value === null ? "none" : colorOf(value));
            rect.setAttribute("class", (data.tiles[index].few ? "few " : "") + (index === state.tile ? "chosen" : ""));
        });
        if (state.tile !== null) { pane.svg.append(pane.rects[state.tile]); }  // above its neighbours
    }
    byId("tile").textContent = state.tile === null ? "" : sentenceOf(state.tile);
}

function clampView() {
    const half = 0.5 / state.zoom;
    state.x = Math.max(half, Math.min(1 - half, state.x));
    state.y = Math.max(half, Math.min(1 - half, state.y));
}

function drawView() {
    clampView();
    stage.className = (state.side ? "side" : "slide") + (state.zoom > 1 ? " zoomed" : "");
    for (const pane of panes) {
        const size = state.side ? pane.size : data.first;
        pane.element.style.aspectRatio = size[0] + " / " + size[1];
        const left = (0.5 - state.x * state.zoom) * 100;
        const top = (0.5 - state.y * state.zoom) * 100;
        pane.layer.style.transform = "translate(" + left + "%," + top + "%) scale(" + state.zoom + ")";
        pane.layer.style.imageRendering = state.zoom > 4 ? "pixelated" : "auto";
    }
    panes[1].element.style.clipPath = state.side ? "none" : "inset(0 0 0 " + state.divider + "%)";
    byId("bar").style.left = state.divider + "%";
    byId("divider").value = state.divider;
    byId("divider").disabled = state.side;
    byId("divider").setAttribute("aria-valuetext", Math.round(state.divider) + " % first");
    byId("zoom").value = state.zoom;
    byId("zoom").setAttribute("aria-valuetext", state.zoom + " times");
    byId("mode").value = state.side ? "side" : "slide";
}

function choose(index, move) {
    state.tile = index;
    if (move) {
        const [x, y, width, height] = data.tiles[index].first;
        state.x = (x + width / 2) / data.first[0];
        state.y = (y + height / 2) / data.first[1];
        drawView();
    }
    drawTiles();
}

/// Relative place in the photographs of a pointer over a pane.
function placeOf(event) {
    const pane = panes.find((its) => its.element.contains(event.target)) || panes[0];
    const box = pane.element.getBoundingClientRect();
    return {x: state.x + ((event.clientX - box.left) / box.width - 0.5) / state.zoom,
        y: state.y + ((event.clientY - box.top) / box.height - 0.5) / state.zoom, box};
}

function tileAt(place) {
    const x = place.x * data.first[0];
    const y = place.y * data.first[1];
    let found = null;
    let nearest = Infinity;
    data.tiles.forEach((tile, index) => {
        const [left, top, width, height] = tile.first;
        if (x >= left && x < left + width && y >= top && y < top + height) {
            const distance = Math.hypot(left + width / 2 - x, top + height / 2 - y);
            if (distance < nearest) {
                nearest = distance;
                found = index;
            }
        }
    });
    return found;
}

function zoomTo(zoom, place) {
    const limited = Math.max(1, Math.min(16, zoom));
    if (place) {
        state.x = place.x + (state.x - place.x) * state.zoom / limited;
        state.y = place.y + (state.y - place.y) * state.zoom / limited;
    }
    state.zoom = limited;
    drawView();
}

byId("mode").addEventListener("input", (event) => {
    state.side = event.target.value === "side";
    drawView();
});
byId("quantity").addEventListener("input", (event) => {
    state.quantity = event.target.value;
    drawTiles();
});
byId("divider").addEventListener("input", (event) => {
    state.divider = Number(event.target.value);
    drawView();
});
byId("zoom").addEventListener("input", (event) => zoomTo(Number(event.target.value)));
byId("whole").addEventListener("click", () => zoomTo(1));
for (const button of document.querySelectorAll("#worst-tiles button")) {
    button.addEventListener("click", () => {
        choose(Number(button.dataset.tile), true);
        stage.focus();
    });
}

let drag = null;
stage.addEventListener("pointerdown", (event) => {
    const place = placeOf(event);
    drag = {x: event.clientX, y: event.clientY, fromX: state.x, fromY: state.y, box: place.box, moved: false};
});
stage.addEventListener("pointermove", (event) => {
    if (!drag || !(event.buttons & 1)) { return; }
    const x = event.clientX - drag.x;
    const y = event.clientY - drag.y;
    drag.moved = drag.moved || Math.hypot(x, y) > 4;
    if (!drag.moved) { return; }
    if (state.zoom > 1) {
        state.x = drag.fromX - x / drag.box.width / state.zoom;
        state.y = drag.fromY - y / drag.box.height / state.zoom;
    } else if (!state.side) {
        state.divider = Math.max(0, Math.min(100, 100 * (event.clientX - drag.box.left) / drag.box.width));
    }
    drawView();
});
stage.addEventListener("pointerup", (event) => {
    if (drag && !drag.moved) {
        const index = tileAt(placeOf(event));
        if (index !== null) { choose(index, false); }
    }
    drag = null;
});
stage.addEventListener("pointercancel", () => { drag = null; });
stage.addEventListener("wheel", (event) => {
    if (!event.ctrlKey && document.activeElement !== stage) { return; }  // the page scrolls until the stage is chosen
    event.preventDefault();
    zoomTo(state.zoom * Math.exp(-event.deltaY / 300), placeOf(event));
}, {passive: false});

const steps = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]};
stage.addEventListener("keydown", (event) => {
    const step = steps[event.key];
    if (step && event.shiftKey) {
        state.x += step[0] * 0.1 / state.zoom;
        state.y += step[1] * 0.1 / state.zoom;
        drawView();
    } else if (step) {
        const rows = data.tiles.length / data.columns;
        const from = state.tile === null ? 0 : state.tile;
        const column = Math.max(0, Math.min(data.columns - 1, from % data.columns + step[0]));
        const row = Math.max(0, Math.min(rows - 1, Math.floor(from / data.columns) + step[1]));
        choose(row * data.columns + column, state.zoom > 1);
    } else if (event.key === "+" || event.key === "=") {
        zoomTo(state.zoom * 1.5);
    } else if (event.key === "-") {
        zoomTo(state.zoom / 1.5);
    } else if (event.key === "0") {
        zoomTo(1);
    } else {
        return;
    }
    event.preventDefault();
});

byId("viewer-controls").hidden = false;
drawView();
drawTiles();
}());
