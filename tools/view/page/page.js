// Joins the parts of the page.

import {Card} from "./cards.js";
import {Differences} from "./differences.js";
import {id, oncePerFrame, show} from "./elements.js";
import {useKeys} from "./keys.js";
import {listen} from "./live.js";
import {Rates, rateText} from "./rates.js";
import {NoAnswer, Recording} from "./recording.js";
import {apply} from "./regions.js";
import {Screen} from "./screen.js";
import {TimeLine, timeText} from "./time_line.js";

const ratesEveryMs = 500;
const second = 1000000;

function announce(text) {
    id("announcement").textContent = text;
}

function showConnection(text) {
    show(id("connection"), text);
    id("connection").classList.toggle("bad", text.startsWith("no"));
}

class Page {
    #shown = new Map();  // the regions in the canvases
    #cards = new Map();
    #screen = new Screen(id("screen"), announce);
    #differences = new Differences(announce);

    regions = new Map();
    rates = new Rates();
    draw = oncePerFrame(() => this.#draw());

    constructor(width) {
        id("width").value = width;
        this.#screen.update(this.regions, width);
        id("width").addEventListener("input", () => {
            if (id("width").checkValidity() && id("width").value !== "") {
                this.#shown.clear();
                this.#differences.update(this.#width());
                this.draw();
            }
        });
    }

    mark(name, time) {
        this.#differences.mark(name, time, this.regions, this.#width());
    }

    showRates(nowUs) {
        const {all, regions} = this.rates.at(nowUs);
        show(id("rates"), rateText(all));
        for (const [number, card] of this.#cards) {
            card.showRate(regions.get(number));
        }
    }

    saveFocused() {
        const article = document.activeElement.closest("article");
        [...this.#cards.values()].find((card) => card.article === article)?.save();
    }

    #width() {
        return Number(id("width").value);
    }

    #draw() {
        const changed = [...this.regions].filter(([number, region]) =>
            this.#shown.get(number) !== region);
        const isChanged = changed.length > 0 || this.#shown.size !== this.regions.size;
        for (const [number, region] of changed) {
            this.#card(number).update(region, this.#width());
        }
        for (const [number, card] of this.#cards) {
            card.article.hidden = !this.regions.has(number);
        }
        id("nothing").hidden = this.regions.size > 0;
        if (isChanged) {
            this.#screen.update(this.regions, this.#width());
        }
        this.#shown = new Map(this.regions);
    }

    #card(number) {
        let card = this.#cards.get(number);
        if (!card) {
            card = new Card(number, announce);
            this.#cards.set(number, card);
            const next = Math.min(...[...this.#cards.keys()].filter((other) => other > number));
            id("regions").insertBefore(card.article, this.#cards.get(next)?.article ?? null);
        }
        return card;
    }
}

function watch(page) {
    let ahead = -Infinity;  // of the messages' clock, to that of the page
    const nowUs = () => 1000 * performance.now();
    listen((line) => {
        if (apply(line, page.regions)) {
            const aheadNow = line.monoUs - nowUs();
            // The clock of another machine may run slower.
            ahead = aheadNow < ahead - second ? aheadNow : Math.max(ahead, aheadNow);
            page.rates.add(line);
            page.draw();
        }
    }, showConnection);
    setInterval(() => page.showRates(nowUs() + ahead), ratesEveryMs);
    return () => new Date().toLocaleTimeString("en-GB");
}

function replay(page, times, durationUs) {
    // Asked after the drawing, which makes the cards.
    const showRates = oncePerFrame(() => page.showRates(recording.timeUs));
    const recording = new Recording(times, durationUs, page.rates, () => {
        showConnection("recording");
        page.regions = recording.regions;
        page.draw();
        timeLine.update();
        showRates();
    });
    const timeLine = new TimeLine(recording, announce);
    recording.seek(0);
    return {timeLine, momentText: () => timeText(recording.timeUs)};
}

async function ask(path) {
    return (await fetch(path)).json();
}

async function start() {
    const about = await ask("about");
    const page = new Page(about.width);
    document.title = `${about.source} - Subtitle regions`;
    show(id("source"), about.source);
    show(id("mistake"), about.mistake ?? "");
    id("mistake").hidden = !about.mistake;
    let momentText;
    let recordingKeys = [];
    if (about.live) {
        momentText = watch(page);
    } else {
        const {timeLine, momentText: text} =
            replay(page, Float64Array.from(await ask("times")), about.durationUs);
        momentText = text;
        recordingKeys = [
            [" ", "play or pause", () => timeLine.playOrPause()],
            [",", "a message back", () => timeLine.step(-1)],
            [".", "a message forward", () => timeLine.step(1)],
        ];
    }
    const mark = (name) => page.mark(name, momentText());
    id("mark-a").onclick = () => mark("A");
    id("mark-b").onclick = () => mark("B");
    useKeys([
        ...recordingKeys,
        ["a", "mark the moment as A", () => mark("A")],
        ["b", "mark the moment as B", () => mark("B")],
        ["s", "save the region with the focus as PNG", () => page.saveFocused()],
    ], !about.live);
}

window.addEventListener("unhandledrejection", (event) => {
    if (event.reason instanceof NoAnswer) {
        event.preventDefault();
        showConnection("no answer from SubtitleMgrView");
    }
});
start();
