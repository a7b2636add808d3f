// What was published last for each region. A region is never changed, only replaced, so a copy of
// the map keeps a moment.

// A region before its first message.
export const noRegion = {
    bitmap: new Uint8Array(), format: 0, palette: new Uint8Array(), visible: false,
};

function bytesOf(base64) {
    const text = atob(base64);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) {
        bytes[i] = text.charCodeAt(i);
    }
    return bytes;
}

const changes = {
    RegionData: (line) => ({bitmap: bytesOf(line.data), format: line.subtitleFormat}),
    RegionVisibility: (line) => ({visible: line.visible}),
    Palette: (line) => ({
        palette: bytesOf(line.data), fill: line.fill, backgroundCode: line.backgroundCode,
    }),
};

// Applies a notification, which is a line of a recording. \return whether it is one
export function apply(line, regions) {
    if (!(line.notification in changes)) {
        return false;
    }
    regions.set(line.regionId, {
        ...(regions.get(line.regionId) ?? noRegion),
        ...changes[line.notification](line),
        wallUs: line.wallUs,
    });
    return true;
}

export const inOrder = (regions) => [...regions].sort(([a], [b]) => a - b);

export const formatName = (format) => ["hd", "sd", "cif"][format] ?? `format ${format}`;
