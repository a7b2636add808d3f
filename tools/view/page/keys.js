// Keys for the whole page, and their help.

import {element, id} from "./elements.js";

const inPlace = [
    ["Arrow keys", "in a picture: another pixel; with Shift 10 pixels"],
    ["Home, End", "in a picture: the first or last pixel of the row"],
];

const inTimeLine = [
    ["Arrow keys", "on the time line: a message back or forward"],
    ["Page Up, Page Down", "on the time line: 10 s forward or back"],
    ["Home, End", "on the time line: the first or last moment"],
];

// \param keys         rows of key, what it does, and the function
// \param isRecording  whether there is a time line
export function useKeys(keys, isRecording) {
    const rows = [
        ...keys.map(([key, text]) => [key === " " ? "Space" : key, text]),
        ["?", "show the keys"], ...inPlace, ...(isRecording ? inTimeLine : []),
    ];
    id("keys").append(...rows.map(([key, text]) =>
        element("tr", {}, element("th", {scope: "row", textContent: key}),
            element("td", {textContent: text}))));
    id("help-button").onclick = () => id("help").showModal();
    id("close-help").onclick = () => id("help").close();
    document.addEventListener("keydown", (event) => {
        const isForControl = event.target.closest("#width, dialog") ||
            event.key === " " && event.target.closest("button");
        if (isForControl || event.ctrlKey || event.altKey || event.metaKey ||
            !id("keys-act").checked) {
            return;
        }
        const act = event.key === "?" ? () => id("help").showModal()
            : keys.find(([key]) => key === event.key)?.[2];
        if (act) {
            event.preventDefault();
            act(event);
        }
    });
}
