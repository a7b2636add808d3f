// The controls of a recording.

import {id, show} from "./elements.js";

const tenSeconds = 10000000;

// 3723004000 -> 1:02:03.004
export function timeText(us) {
    const ms = Math.floor(us / 1000);
    const two = (number) => String(number).padStart(2, "0");
    const minutes = Math.floor(ms / 60000);
    return `${Math.floor(minutes / 60)}:${two(minutes % 60)}:` +
        `${two(Math.floor(ms / 1000) % 60)}.${String(ms % 1000).padStart(3, "0")}`;
}

export class TimeLine {
    #recording;
    #announce;

    constructor(recording, announce) {
        this.#recording = recording;
        this.#announce = announce;
        const slider = id("position");
        id("time-line").hidden = false;
        slider.max = recording.durationUs;
        slider.addEventListener("input", () => recording.seek(Number(slider.value)));
        slider.addEventListener("keydown", (event) => this.#press(event));
        id("play").onclick = () => this.playOrPause();
        id("back").onclick = () => this.step(-1);
        id("forward").onclick = () => this.step(1);
    }

    playOrPause() {
        const recording = this.#recording;
        return recording.isPlaying ? recording.pause() : recording.play();
    }

    async step(messages) {
        this.#recording.pause();
        await this.#recording.step(messages);
        this.#announce(this.#text());
    }

    async seek(timeUs) {
        await this.#recording.seek(Math.min(Math.max(timeUs, 0), this.#recording.durationUs));
        this.#announce(this.#text());
    }

    update() {
        const slider = id("position");
        slider.value = this.#recording.timeUs;
        slider.ariaValueText = this.#text();
        show(id("time"), this.#text());
        show(id("play"), this.#recording.isPlaying ? "Pause" : "Play");
    }

    #text() {
        const {timeUs, durationUs, before, count} = this.#recording;
        return `${timeText(timeUs)} of ${timeText(durationUs)}, message ${before} of ${count}`;
    }

    #press(event) {
        const {timeUs, durationUs} = this.#recording;
        const acts = {
            ArrowLeft: () => this.step(-1),
            ArrowRight: () => this.step(1),
            ArrowDown: () => this.step(-1),
            ArrowUp: () => this.step(1),
            PageDown: () => this.seek(timeUs - tenSeconds),
            PageUp: () => this.seek(timeUs + tenSeconds),
            Home: () => this.seek(0),
            End: () => this.seek(durationUs),
        };
        if (event.key in acts) {
            event.preventDefault();
            acts[event.key]();
        }
    }
}
