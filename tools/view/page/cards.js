// The part of the page for one region.

import {countWrong, entryCount, entryOf, mistakeOf, nextWrong} from "./colours.js";
import {Cursor} from "./cursor.js";
import {button, element, picture, show} from "./elements.js";
import {drawPalette, drawRegion, save} from "./pictures.js";
import {rateText} from "./rates.js";
import {formatName} from "./regions.js";

const entryText = (palette, index) => {
    const [y, cb, cr] = entryOf(palette, index);
    return `Y ${y}, Cb ${cb}, Cr ${cr}`;
};

export function byteText(region, at) {
    const byte = region.bitmap[at];
    const {palette} = region;
    if (byte === undefined) {
        return "no pixel";
    }
    return `byte ${byte}, ` + (mistakeOf(region, byte) ||
        (entryCount(palette) > 0 ? entryText(palette, byte) : "no palette"));
}

function paletteText({palette, fill, backgroundCode}) {
    const count = entryCount(palette);
    return count > 0
        ? `Palette of ${count} entries, ${fill ? "fill" : "no fill"}, background ${backgroundCode}`
        : "No palette: grey steps";
}

function timeText(wallUs) {
    const time = new Date(wallUs / 1000);
    return time.toLocaleTimeString("en-GB") + "." + String(time.getMilliseconds()).padStart(3, "0");
}

export class Card {
    #number;
    #region;
    #announce;
    #state = element("p", {className: "state"});
    #canvas = element("canvas", {tabIndex: 0, role: "application"});
    #strip = element("canvas", {tabIndex: 0, role: "application", className: "palette"});
    #paletteText = element("p");
    #wrong = button("", () => this.#goToNextWrong(), {className: "wrong", hidden: true});
    #pixel = element("p", {className: "pixel"});
    #rate = element("p", {className: "rate"});
    #cursor;
    #stripCursor;

    // \param announce  called with a text for screen readers
    constructor(number, announce) {
        const name = `region ${number}`;
        const title = element("h3", {id: `title-${number}`, textContent: `Region ${number}`});
        this.#number = number;
        this.#announce = announce;
        this.#canvas.ariaLabel = `Pixels of ${name}`;
        this.#strip.ariaLabel = `Palette of ${name}`;
        this.article = element("article", {id: `region-${number}`, "aria-labelledby": title.id},
            title, this.#state, picture(this.#canvas), picture(this.#strip), this.#paletteText,
            this.#pixel, this.#wrong, this.#rate,
            button("Save PNG", () => this.save(), {ariaLabel: `Save ${name} as PNG`}));
        this.#cursor = new Cursor(this.#canvas, (place, byKeys) =>
            this.#showText(place && this.#pixelText(place), byKeys));
        this.#stripCursor = new Cursor(this.#strip, (place, byKeys) =>
            this.#showText(place && this.#stripText(place), byKeys));
    }

    get number() {
        return this.#number;
    }

    update(region, width) {
        const isNewPalette = region.palette !== this.#region?.palette;
        this.#region = region;
        const hasBitmap = region.bitmap.length > 0;
        show(this.#state, [
            hasBitmap ? formatName(region.format) : "no bitmap",
            region.visible ? "visible" : "hidden", `last change ${timeText(region.wallUs)}`,
        ].join(", "));
        this.#canvas.parentElement.hidden = !hasBitmap;
        drawRegion(this.#canvas, region, width);
        if (isNewPalette) {
            this.#strip.parentElement.hidden = entryCount(region.palette) === 0;
            show(this.#paletteText, paletteText(region));
            drawPalette(this.#strip, region.palette);
        }
        const count = countWrong(region);
        this.#wrong.hidden = count === 0;
        show(this.#wrong, `${count} wrong ${count === 1 ? "value" : "values"}: show next`);
        if (this.#cursor.place) {
            show(this.#pixel, this.#pixelText(this.#cursor.place));
        } else if (this.#stripCursor.place) {
            show(this.#pixel, this.#stripText(this.#stripCursor.place));
        }
    }

    showRate(rate) {
        show(this.#rate, rateText(rate));
    }

    save() {
        save(this.#canvas, `region-${String(this.#number).padStart(2, "0")}.png`);
    }

    #pixelText({x, y}) {
        return `x ${x}, y ${y}: ` + byteText(this.#region, y * this.#canvas.width + x);
    }

    #stripText({x}) {
        const {palette} = this.#region;
        return x < entryCount(palette) ? `entry ${x}: ${entryText(palette, x)}` : "no palette";
    }

    #showText(text, byKeys) {
        show(this.#pixel, text ?? "");
        if (byKeys) {
            this.#announce(text);
        }
    }

    #goToNextWrong() {
        const {width} = this.#canvas;
        const {x, y} = this.#cursor.place ?? {x: -1, y: 0};
        const at = nextWrong(this.#region, y * width + x);
        this.#cursor.move({x: at % width, y: Math.floor(at / width)});
    }
}
