// The colours of the style sheet for what is drawn on a canvas, read again when the theme changes.

const NAMES = ["bg", "surface", "raised", "line", "line-strong", "text", "muted", "accent", "lv0", "lv1", "lv2", "lv3", "lv4", "lt0", "lt1", "lt2", "lt3", "lt4", "c0", "c1", "c2", "c3", "c4", "c5", "c6", "c7"];
const listeners = new Set();
let current = null;

export function palette() {
    if (current) return current;
    const style = getComputedStyle(document.documentElement);
    current = {};
    for (const name of NAMES) current[name] = style.getPropertyValue("--" + name).trim();
    current.levels = [0, 1, 2, 3, 4].map((n) => current["lv" + n]);
    current.levelTexts = [0, 1, 2, 3, 4].map((n) => current["lt" + n]);
    current.curves = [0, 1, 2, 3, 4, 5, 6, 7].map((n) => current["c" + n]);
    current.dark = style.getPropertyValue("--dark").trim() === "1";
    return current;
}

export function onTheme(fn) {
    listeners.add(fn);
    return () => listeners.delete(fn);
}

/// "auto", "dark" or "light"; kept in the browser.
export function setTheme(strTheme) {
    if (strTheme === "auto") delete document.documentElement.dataset.theme;
    else document.documentElement.dataset.theme = strTheme;
    try {
        localStorage.setItem("theme", strTheme);
    } catch {
        // A browser without storage forgets the choice.
    }
    changed();
}

export function storedTheme() {
    try {
        return localStorage.getItem("theme") ?? "auto";
    } catch {
        return "auto";
    }
}

function changed() {
    current = null;
    for (const fn of listeners) fn();
}

matchMedia("(prefers-color-scheme: dark)").addEventListener("change", changed);

/// "#rrggbb" with an opacity.
export function alpha(strHex, f) {
    const n = parseInt(strHex.slice(1), 16);
    return `rgba(${n >> 16}, ${(n >> 8) & 255}, ${n & 255}, ${f})`;
}
