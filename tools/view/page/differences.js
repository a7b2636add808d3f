// The difference of two moments, A and B.

import {element, id, picture, show} from "./elements.js";
import {drawDifference} from "./pictures.js";
import {formatName, inOrder, noRegion} from "./regions.js";

const areSame = (a, b) => a === b || a.length === b.length && a.every((byte, i) => byte === b[i]);

function textOf(a, b, pixels) {
    const texts = [
        [pixels > 0, `${pixels} ${pixels === 1 ? "pixel" : "pixels"}`],
        [a.format !== b.format, `format ${formatName(a.format)} to ${formatName(b.format)}`],
        [a.visible !== b.visible, b.visible ? "becomes visible" : "becomes hidden"],
        [!areSame(a.palette, b.palette), "palette"],
    ];
    return texts.filter(([isThere]) => isThere).map(([, text]) => text).join(", ");
}

function partOf(number, a, b, width) {
    const canvas = element("canvas", {role: "img"});
    const part = element("article", {
        id: `difference-${number}`, ariaLabel: `Difference in region ${number}`,
    }, element("h3", {textContent: `Region ${number}`}), element("p"), picture(canvas));
    const text = textOf(a, b, drawDifference(canvas, a, b, width));
    canvas.ariaLabel = `Difference in region ${number}: ${text}`;
    show(part.querySelector("p"), text);
    return text === "" ? [] : [part];
}

export class Differences {
    #moments = {};
    #announce;

    constructor(announce) {
        this.#announce = announce;
    }

    // \param name     A or B
    // \param time     the text for the moment
    // \param regions  are copied
    mark(name, time, regions, width) {
        this.#moments[name] = {time, regions: new Map(regions)};
        this.update(width);
        this.#announce(`${name} marked. ${id("difference").textContent}`);
    }

    update(width) {
        const {A, B} = this.#moments;
        const parts = A && B ? this.#parts(A.regions, B.regions, width) : [];
        const marks = Object.entries(this.#moments)
            .map(([name, {time}]) => `${name} is ${time}. `).sort().join("");
        show(id("difference"), marks + (
            !A || !B ? "Mark two moments."
            : parts.length === 0 ? "No difference."
            : `${parts.length} different ${parts.length === 1 ? "region" : "regions"}.`));
        id("differences").replaceChildren(...parts);
    }

    #parts(a, b, width) {
        return inOrder(new Map([...a, ...b])).flatMap(([number]) =>
            partOf(number, a.get(number) ?? noRegion, b.get(number) ?? noRegion, width));
    }
}
