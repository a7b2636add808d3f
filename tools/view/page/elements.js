// Short ways to find, make and change elements.

export const id = (name) => document.getElementById(name);

export function element(tag, properties = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (name in made) {
            made[name] = value;
        } else {
            made.setAttribute(name, value);
        }
    }
    made.append(...children);
    return made;
}

export const button = (text, onclick, properties) =>
    element("button", {type: "button", textContent: text, onclick, ...properties});

export const picture = (...children) => element("div", {className: "picture"}, ...children);

// An unchanged text is left alone: the browser has nothing to lay out, a screen reader to read.
export function show(place, text) {
    if (place.textContent !== text) {
        place.textContent = text;
    }
}

// Calls a function in the next frame, however often it is asked for before.
export function oncePerFrame(act) {
    let isAsked = false;
    return () => {
        if (!isAsked) {
            isAsked = true;
            requestAnimationFrame(() => {
                isAsked = false;
                act();
            });
        }
    };
}
