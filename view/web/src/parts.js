// Small parts that several views are made of.

import { h, svg, setText, setAttr } from "./dom.js";
import { download } from "./api.js";
import { LEVELS } from "./level.js";

/// Form of a level, coloured by it. The word stands beside it, so it is hidden from a reader of the screen.
export function levelIcon(nLevel, nSize = 16) {
    return svg("svg", { class: `level-icon lv${nLevel}`, viewBox: "0 0 16 16", width: nSize, height: nSize, "aria-hidden": "true" },
        svg("path", { d: LEVELS[nLevel].path, "fill-rule": "evenodd" }));
}

/// Form and word of a level, which can be changed: { element, set(nLevel, strWord) }
export function levelMark(nSize = 16) {
    const path = svg("path", { "fill-rule": "evenodd" });
    const icon = svg("svg", { viewBox: "0 0 16 16", width: nSize, height: nSize, "aria-hidden": "true" }, path);
    const word = h("span", { class: "level-word" });
    const element = h("span", { class: "level" }, icon, word);
    return {
        element,
        set(nLevel, strWord = LEVELS[nLevel].word) {
            setAttr(path, "d", LEVELS[nLevel].path);
            setAttr(icon, "class", `level-icon lv${nLevel}`);
            setAttr(element, "class", `level tx${nLevel}`);
            setText(word, strWord);
        },
    };
}

export function level(nLevel, strWord) {
    const mark = levelMark();
    mark.set(nLevel, strWord);
    return mark.element;
}

const ICONS = {
    now: "M2 12h4l2-6 4 13 3-9 1.500 2H22",
    exposure: "M4 4v16h16M9 15.500h.01M12.500 11h.01M17 6.500h.01M14.700 8.700h.01",
    trends: "M3 17l5-6 4 3 4-7 5 5M3 21h18",
    events: "M5 4h14M5 9h14M5 14h9M5 19h9",
    health: "M12 20s-7.500-4.600-7.500-10A4.300 4.300 0 0 1 12 7.300 4.300 4.300 0 0 1 19.500 10C19.500 15.400 12 20 12 20Z",
    export: "M12 3v12m-4.500-4.500L12 15l4.500-4.500M4 19.500h16",
    dark: "M20 14.500A8.200 8.200 0 0 1 9.500 4a8.200 8.200 0 1 0 10.500 10.500Z",
    light: "M12 7.500a4.500 4.500 0 1 0 .01 0ZM12 2v2.500M12 19.500V22M2 12h2.500M19.500 12H22M5 5l1.700 1.700M17.300 17.300 19 19M5 19l1.700-1.700M17.300 6.700 19 5",
    auto: "M12 3.500a8.500 8.500 0 1 0 .01 0ZM12 4v16.500M15 5v14M18 7.500v9",
    back: "M15 5l-7 7 7 7",
    next: "M9 5l7 7-7 7",
    down: "M5 9l7 7 7-7",
    search: "M10.500 4a6.500 6.500 0 1 0 .01 0ZM15.500 15.500 20.500 20.500",
    out: "M14 4H5v16h9M10 12h11m-4-4 4 4-4 4",
    check: "M4.500 12.500l5 5L20 7",
    close: "M6 6l12 12M18 6 6 18",
    image: "M4 5h16v14H4ZM4 16l5-5 4 4 2.500-2.500L20 16.500M15.500 9h.01",
};

export function icon(strName, nSize = 20) {
    return svg("svg", { class: "icon", viewBox: "0 0 24 24", width: nSize, height: nSize, "aria-hidden": "true" }, svg("path", { d: ICONS[strName] }));
}

/// A place that says why nothing is shown.
export function empty(strTitle, strText) {
    return h("div", { class: "empty" }, h("p", { class: "empty-title" }, strTitle), strText && h("p", {}, strText));
}

export function button(strText, fn, { icon: strIcon, kind = "", title } = {}) {
    return h("button", { type: "button", class: `button ${kind}`, onclick: fn, title, "aria-label": title ?? strText },
        strIcon && icon(strIcon, 16), strText && h("span", {}, strText));
}

/// A row of choices of which one is taken. { element, set(value) }
export function choice(strLabel, options, current, fn) {
    const buttons = options.map(([value, text]) =>
        h("button", { type: "button", "aria-pressed": String(value === current), onclick: () => (set(value), fn(value)) }, text));
    const element = h("div", { class: "choice", role: "group", "aria-label": strLabel }, buttons);
    function set(value) {
        buttons.forEach((b, i) => setAttr(b, "aria-pressed", String(options[i][0] === value)));
    }
    return { element, set };
}

/// A degree of exposure as a bar from 0 to 12. { element, set(fExposure, nLevel) }
export function exposureBar() {
    const fill = h("i", {});
    const element = h("span", { class: "exposure-bar", "aria-hidden": "true" }, fill);
    return {
        element,
        set(fExposure, nLevel) {
            fill.style.width = `${Math.min(100, ((fExposure ?? 0) / 12) * 100).toFixed(1)}%`;
            setAttr(fill, "class", `lv${nLevel}`);
        },
    };
}

/// A canvas that is as sharp as the screen. draw(context, width, height) is called after each change of its size.
export function canvasBox(strClass, fnDraw, attributes = {}) {
    const canvas = h("canvas", attributes);
    const element = h("div", { class: `canvas-box ${strClass}` }, canvas);
    const context = canvas.getContext("2d");
    const box = { element, canvas, context, width: 0, height: 0, seen: true, redraw };
    function redraw() {
        if (box.width > 0 && box.height > 0) fnDraw(context, box.width, box.height);
    }
    const sizes = new ResizeObserver(([entry]) => {
        const { width, height } = entry.contentRect;
        const ratio = window.devicePixelRatio || 1;
        box.width = Math.round(width);
        box.height = Math.round(height);
        canvas.width = Math.max(1, Math.round(width * ratio));
        canvas.height = Math.max(1, Math.round(height * ratio));
        context.setTransform(ratio, 0, 0, ratio, 0, 0);
        redraw();
    });
    sizes.observe(element);
    const views = new IntersectionObserver(([entry]) => (box.seen = entry.isIntersecting), { rootMargin: "80px" });
    views.observe(element);
    box.destroy = () => (sizes.disconnect(), views.disconnect());
    return box;
}

/// Gives a file to the reader to keep.
export function saveBlob(blob, strName) {
    const url = URL.createObjectURL(blob);
    const link = h("a", { href: url, download: strName });
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(url), 10_000);
}

/// A button that fetches a file from the server; what hinders it stands in its place for a while. p_fn gives the path and
/// the query, or null where there is nothing to fetch.
export function fetchButton(strText, fn, options = {}) {
    const element = button(strText, take, { icon: "export", ...options });
    const label = element.lastElementChild;
    async function take() {
        const wanted = fn();
        if (!wanted) return;
        element.disabled = true;
        try {
            const { blob, name } = await download(...wanted);
            saveBlob(blob, name);
        } catch (failure) {
            label.textContent = failure.message;
            setTimeout(() => (label.textContent = strText), 6000);
        } finally {
            element.disabled = false;
        }
    }
    return element;
}

/// A name of a file from names that come from outside.
export const fileName = (...parts) => parts.join("_").normalize("NFKD").replace(/[^\w.-]+/g, "-").slice(0, 100);
