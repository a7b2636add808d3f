// One pixel of a canvas, chosen with the pointer or with the arrow keys.

import {element} from "./elements.js";

const far = 10;  // pixels for an arrow key with Shift

const steps = {
    ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1],
    Home: [-Infinity, 0], End: [Infinity, 0],
};

const within = (value, size) => Math.min(Math.max(value, 0), size - 1);

export class Cursor {
    #canvas;
    #frame = element("span", {className: "cursor", hidden: true});
    #onMove;
    #place = null;

    // \param onMove  called with the place, or null, and whether keys have chosen it
    constructor(canvas, onMove) {
        this.#canvas = canvas;
        this.#onMove = onMove;
        canvas.after(this.#frame);
        canvas.addEventListener("pointermove", (event) => this.#point(event));
        canvas.addEventListener("pointerleave", () => this.move(null, false));
        canvas.addEventListener("keydown", (event) => this.#press(event));
    }

    get place() {
        return this.#place;
    }

    move(place, byKeys = true) {
        const {width, height} = this.#canvas;
        this.#place = place && {x: within(place.x, width), y: within(place.y, height)};
        this.#frame.hidden = !place;
        if (place) {
            const {x, y} = this.#place;
            Object.assign(this.#frame.style, {
                left: `${100 * x / width}%`, width: `${100 / width}%`,
                top: `${100 * y / height}%`, height: `${100 / height}%`,
            });
        }
        this.#onMove(this.#place, byKeys);
    }

    #point({clientX, clientY}) {
        const {left, top, width, height} = this.#canvas.getBoundingClientRect();
        this.move({
            x: Math.floor((clientX - left) / width * this.#canvas.width),
            y: Math.floor((clientY - top) / height * this.#canvas.height),
        }, false);
    }

    #press(event) {
        const step = steps[event.key];
        if (step && !event.ctrlKey && !event.altKey && !event.metaKey) {
            event.preventDefault();
            event.stopPropagation();
            const size = event.shiftKey ? far : 1;
            const {x, y} = this.#place ?? {x: -step[0], y: -step[1]};
            this.move({x: x + size * step[0], y: y + size * step[1]});
        }
    }
}
