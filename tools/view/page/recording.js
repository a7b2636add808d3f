// The messages of a recording, and the moment that is shown.

import {apply} from "./regions.js";

const chunkSize = 64;
const chunksKept = 8;
const mostSteps = 256;  // from one moment to another, without asking for its state
const second = 1000000;

export class NoAnswer extends Error {}

async function lines(path) {
    const text = await fetch(path).then((answer) => answer.text()).catch((error) => {
        throw new NoAnswer(path, {cause: error});
    });
    return text.split("\n").filter((line) => line !== "").map((line) => JSON.parse(line));
}

const nextFrame = () => new Promise(requestAnimationFrame);

export class Recording {
    #times;
    #durationUs;
    #rates;
    #onMove;
    #chunks = new Map();  // promises, the one used last at the end
    #shown = {before: 0, timeUs: 0};  // messages applied, and the moment
    #wanted = this.#shown;
    #isMoving = null;

    // \param onMove  called when another moment is shown
    constructor(times, durationUs, rates, onMove) {
        this.#times = times;
        this.#durationUs = durationUs;
        this.#rates = rates;
        this.#onMove = onMove;
    }

    regions = new Map();
    isPlaying = false;

    // The number of messages applied.
    get before() {
        return this.#shown.before;
    }

    get timeUs() {
        return this.#shown.timeUs;
    }

    get count() {
        return this.#times.length;
    }

    get durationUs() {
        return this.#durationUs;
    }

    seek(timeUs) {
        return this.#go(this.#countUntil(timeUs), timeUs);
    }

    step(messages) {
        const before = Math.min(Math.max(this.#wanted.before + messages, 0), this.count);
        return this.#go(before, this.#times[before - 1] ?? 0);
    }

    pause() {
        this.isPlaying = false;
        this.#onMove();
    }

    async play() {
        if (this.timeUs >= this.#durationUs) {
            await this.seek(0);
        }
        this.isPlaying = true;
        try {
            for (let last = await nextFrame(); this.isPlaying;) {
                const now = await nextFrame();
                // The play goes on where a seek has moved to.
                await this.#isMoving;
                if (this.isPlaying) {
                    await this.seek(Math.min(this.timeUs + 1000 * (now - last), this.#durationUs));
                }
                last = now;
                this.isPlaying &&= this.timeUs < this.#durationUs;
            }
        } finally {
            this.pause();
        }
    }

    #go(before, timeUs) {
        this.#wanted = {before, timeUs};
        this.#isMoving ??= this.#move().finally(() => {
            this.#isMoving = null;
        });
        return this.#isMoving;
    }

    // Leaves out the moments that were wanted while another one was loaded.
    async #move() {
        while (this.#shown !== this.#wanted) {
            const wanted = this.#wanted;
            const steps = wanted.before - this.before;
            const isNear = steps >= 0 && steps <= mostSteps;
            await (isNear ? this.#advance(wanted.before) : this.#jump(wanted.before));
            this.#shown = wanted;
            this.#onMove();
            if (!isNear) {
                await this.#countLastSecond(wanted);
            }
        }
    }

    async #advance(before) {
        for (let i = this.before; i < before; ++i) {
            const line = await this.#message(i);
            apply(line, this.regions);
            this.#count(line, i);
        }
    }

    async #jump(before) {
        const regions = new Map();
        for (const line of await lines(`state?before=${before}`)) {
            apply(line, regions);
        }
        this.regions = regions;
        this.#rates.clear();
    }

    async #countLastSecond(moment) {
        const {before, timeUs} = moment;
        for (let i = this.#countUntil(timeUs - second); i < before; ++i) {
            const line = await this.#message(i);
            if (this.#wanted !== moment) {
                return;
            }
            this.#count(line, i);
        }
        this.#onMove();
    }

    #count({regionId, size}, i) {
        this.#rates.add({monoUs: this.#times[i], regionId, size});
    }

    async #message(i) {
        const chunk = await this.#chunk(Math.floor(i / chunkSize));
        // A chunk of large messages has only the first of them.
        return chunk[i % chunkSize] ?? (await lines(`messages?from=${i}&count=1`))[0];
    }

    #chunk(number) {
        const from = number * chunkSize;
        const chunk = this.#chunks.get(number) ?? lines(`messages?from=${from}&count=${chunkSize}`);
        this.#chunks.delete(number);
        this.#chunks.set(number, chunk);
        chunk.catch(() => this.#chunks.delete(number));
        if (this.#chunks.size > chunksKept) {
            this.#chunks.delete(this.#chunks.keys().next().value);
        }
        return chunk;
    }

    // The messages until a moment, those of the moment included.
    #countUntil(timeUs) {
        let [first, last] = [0, this.count];
        while (first < last) {
            const middle = Math.floor((first + last) / 2);
            if (this.#times[middle] <= timeUs) {
                first = middle + 1;
            } else {
                last = middle;
            }
        }
        return first;
    }
}
