// The visible regions, one below the other, since records carry no position.

import {byteText} from "./cards.js";
import {Cursor} from "./cursor.js";
import {button, element, picture, show} from "./elements.js";
import {drawScreen, save, stack} from "./pictures.js";

export class Screen {
    #canvas = element("canvas",
        {tabIndex: 0, role: "application", ariaLabel: "Pixels of the screen"});
    #note = element("p");
    #pixel = element("p", {className: "pixel"});
    #save = button("Save PNG", () => save(this.#canvas, "screen.png"),
        {ariaLabel: "Save the screen as PNG"});
    #parts = [];
    #cursor;

    constructor(place, announce) {
        place.append(this.#note, picture(this.#canvas), this.#pixel, this.#save);
        this.#cursor = new Cursor(this.#canvas, (pixel, byKeys) => {
            show(this.#pixel, pixel ? this.#text(pixel) : "");
            if (byKeys) {
                announce(this.#pixel.textContent);
            }
        });
    }

    update(regions, width) {
        const stacked = stack(regions, width);
        this.#parts = stacked.parts;
        const isEmpty = stacked.rows === 0;
        this.#canvas.parentElement.hidden = this.#save.hidden = isEmpty;
        show(this.#note, isEmpty ? "No region is visible."
            : "Visible regions: " + this.#parts.map(({number}) => number).join(", "));
        drawScreen(this.#canvas, stacked, width);
        if (this.#cursor.place) {
            show(this.#pixel, this.#text(this.#cursor.place));
        }
    }

    #text({x, y}) {
        const part = this.#parts.findLast(({row}) => row <= y);
        return part ? `region ${part.number}, x ${x}, y ${y - part.row}: ` +
            byteText(part.region, (y - part.row) * this.#canvas.width + x) : "no pixel";
    }
}
