// Canvases with the pixels of regions.

import {coloursOf, colourOf, entryCount, entryOf} from "./colours.js";
import {inOrder} from "./regions.js";

// Browsers draw no higher canvas.
const mostRows = 32767;

// For the browser to take a file.
const downloadMs = 60000;

const different = 0xff008cff;  // orange

export const rowsOf = (bitmap, width) => Math.min(Math.ceil(bitmap.length / width), mostRows);

// Sets the size and the pixels; whole rows, the rest of a short last row is transparent.
function draw(canvas, width, rows, fill) {
    const height = Math.max(rows, 1);
    if (canvas.width !== width || canvas.height !== height) {
        canvas.width = width;
        canvas.height = height;
        canvas.parentElement.style.setProperty("--aspect", width / height);
    }
    const image = new ImageData(width, height);
    fill(new Uint32Array(image.data.buffer));
    canvas.getContext("2d").putImageData(image, 0, 0);
}

function fillWith(pixels, from, bitmap, colours) {
    const count = Math.min(bitmap.length, pixels.length - from);
    for (let i = 0; i < count; ++i) {
        pixels[from + i] = colours[bitmap[i]];
    }
}

export function drawRegion(canvas, region, width) {
    draw(canvas, width, rowsOf(region.bitmap, width), (pixels) =>
        fillWith(pixels, 0, region.bitmap, coloursOf(region)));
}

// The visible regions with the row of the screen where each begins.
export function stack(regions, width) {
    let rows = 0;
    const parts = [];
    for (const [number, region] of inOrder(regions)) {
        if (region.visible && region.bitmap.length > 0) {
            parts.push({number, region, row: rows});
            rows = Math.min(rows + rowsOf(region.bitmap, width), mostRows);
        }
    }
    return {parts, rows};
}

export function drawScreen(canvas, {parts, rows}, width) {
    draw(canvas, width, rows, (pixels) => {
        for (const {region, row} of parts) {
            fillWith(pixels, row * width, region.bitmap, coloursOf(region));
        }
    });
}

export function drawPalette(canvas, palette) {
    draw(canvas, Math.max(entryCount(palette), 1), 1, (pixels) => {
        for (let i = 0; i < entryCount(palette); ++i) {
            pixels[i] = colourOf(entryOf(palette, i));
        }
    });
}

// Pixels with another byte or colour are orange, the others pale.
// \return their number
export function drawDifference(canvas, a, b, width) {
    const [coloursOfA, coloursOfB] = [coloursOf(a), coloursOf(b)];
    const size = Math.max(a.bitmap.length, b.bitmap.length);
    let count = 0;
    draw(canvas, width, Math.min(Math.ceil(size / width), mostRows), (pixels) => {
        for (let i = 0; i < size; ++i) {
            const [from, to] = [a.bitmap[i], b.bitmap[i]];
            if (from !== to || coloursOfA[from] !== coloursOfB[to]) {
                pixels[i] = different;
                ++count;
            } else {
                pixels[i] = coloursOfB[to] & 0x40ffffff;
            }
        }
    });
    return count;
}

export function save(canvas, name) {
    canvas.toBlob((png) => {
        const link = document.createElement("a");
        link.href = URL.createObjectURL(png);
        link.download = name;
        link.click();
        setTimeout(() => URL.revokeObjectURL(link.href), downloadMs);
    });
}
