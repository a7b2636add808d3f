// Colours of bitmaps: the pixels of `SubtitleMgrView png`.

const one = 65536;  // Q16
const cif = 2;
const cifValues = 4;
const entrySize = 4;

// As ImageData keeps a pixel: red in the lowest byte, alpha in the highest.
const pixel = (red, green, blue) => (255 << 24 | blue << 16 | green << 8 | red) >>> 0;

const transparent = 0;
const marked = pixel(255, 0, 255);

const rounded = (sum) => Math.floor(Math.min(Math.max(sum + one / 2, 0), 255 * one) / one);

// ITU-R BT.601, studio range; an entry with Y = 0 is transparent.
export function colourOf([y, cb, cr]) {
    const grey = 76309 * (y - 16);
    return y === 0 ? transparent : pixel(
        rounded(grey + 104597 * (cr - 128)),
        rounded(grey - 25675 * (cb - 128) - 53279 * (cr - 128)),
        rounded(grey + 132201 * (cb - 128)));
}

// Without the fourth byte, which has no meaning here.
export const entryOf = (palette, index) =>
    palette.subarray(entrySize * index, entrySize * index + entrySize - 1);

export const entryCount = (palette) => Math.floor(palette.length / entrySize);

// Why a byte is wrong; empty if it is not.
export const mistakeOf = ({format, palette}, byte) =>
    format === cif && byte >= cifValues ? "above 3 in CIF"
    : palette.length >= entrySize && byte >= entryCount(palette) ? "no entry" : "";

const isWrong = (region, byte) => mistakeOf(region, byte) !== "";

function grey(step, steps) {
    const value = Math.floor(255 * step / (steps - 1));
    return pixel(value, value, value);
}

// The pixels of all 256 bytes.
export function coloursOf(region) {
    const {bitmap, format, palette} = region;
    const areFew = format === cif || bitmap.every((byte) => byte < cifValues);
    const steps = areFew ? cifValues : 256;
    return Uint32Array.from({length: 256}, (_, byte) =>
        isWrong(region, byte) ? marked
        : palette.length >= entrySize ? colourOf(entryOf(palette, byte))
        : byte < steps ? grey(byte, steps) : marked);
}

const wrongBytes = (region) => Uint8Array.from({length: 256}, (_, byte) => isWrong(region, byte));

export function countWrong(region) {
    const wrong = wrongBytes(region);
    return region.bitmap.reduce((count, byte) => count + wrong[byte], 0);
}

// The place of the next wrong byte, from the beginning again after the last one.
export function nextWrong(region, after) {
    const wrong = wrongBytes(region);
    const next = region.bitmap.findIndex((byte, i) => i > after && wrong[byte]);
    return next >= 0 ? next : region.bitmap.findIndex((byte) => wrong[byte]);
}
