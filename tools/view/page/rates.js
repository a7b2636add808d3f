// Messages and bytes of the last second, by the times of the messages.

const second = 1000000;

export class Rates {
    #recent = [];

    add({monoUs, regionId, size = 0}) {
        this.#recent.push({monoUs, regionId, size});
    }

    clear() {
        this.#recent = [];
    }

    // \param nowUs  on the clock of the messages
    // \return the rate of all, and a map of those of the regions
    at(nowUs) {
        this.#recent = this.#recent.filter(({monoUs}) => monoUs > nowUs - second);
        const all = {messages: 0, bytes: 0};
        const regions = new Map();
        for (const {regionId, size} of this.#recent) {
            const rate = regions.get(regionId) ?? {messages: 0, bytes: 0};
            regions.set(regionId, rate);
            for (const sum of [all, rate]) {
                sum.messages += 1;
                sum.bytes += size;
            }
        }
        return {all, regions};
    }
}

export const rateText = ({messages, bytes} = {messages: 0, bytes: 0}) =>
    `Messages/s: ${messages.toLocaleString("en")}, bytes/s: ${bytes.toLocaleString("en")}`;
