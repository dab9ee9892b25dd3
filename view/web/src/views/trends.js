// Trends: frequency, magnitude, damping ratio and exposure of chosen modes over minutes to months.

import { h, setText, setAttr } from "../dom.js";
import { button, choice, empty, fetchButton, icon, level, saveBlob } from "../parts.js";
import { get } from "../api.js";
import { TimeChart, chartsToBlob } from "../draw/chart.js";
import { QUANTITIES, columnsOf, limitLines, magnitudeUnit, modeLabel } from "../courses.js";
import { onTheme, palette } from "../palette.js";
import * as format from "../format.js";
import { exportName } from "../save.js";
import { ModePicker } from "./picker.js";

const SPANS = [["600", "10 min"], ["3600", "1 h"], ["21600", "6 h"], ["86400", "24 h"], ["604800", "7 d"], ["2592000", "30 d"], ["31536000", "1 y"]];
const LONGEST = 2 * 31_536_000_000;
const MAX_LINKS = 8;
const MAX_MODES = 8; // colours that can be told apart

export function trendsView({ store, replaceQuery }, query) {
    let keys = (query.get("modes") ?? "").split(",").filter(Boolean).slice(0, MAX_MODES);
    let span = Number(query.get("span")) * 1000 || 3600_000;
    let fixed = query.get("from") ? [Number(query.get("from")), Number(query.get("to"))] : null; // null: follows the newest data
    let answer = null;
    let loading = null;
    let tLoaded = 0;
    let started = false;
    let charts = [];
    let strCharts = "";

    const spans = choice("Span", SPANS, String(span / 1000), (value) => (span = Number(value) * 1000, fixed = null, moved()));
    const picker = new ModePicker(store, MAX_MODES, (list) => (keys = list, moved()));
    const follow = h("button", { type: "button", class: "button", "aria-pressed": "true", onclick: () => (fixed = null, moved()) }, h("i", { class: "dot", "aria-hidden": "true" }), "Follow");
    const chips = h("div", { class: "chips" });
    const hold = h("div", { class: "charts", tabindex: "0", "aria-label": "Curves; arrow keys move, plus and minus zoom", onkeydown: onKey });
    const message = h("div", {});
    const spansList = h("ul", { class: "event-links" });
    const note = h("p", { class: "muted chart-note" });
    const element = h("div", { class: "view trends" },
        h("div", { class: "view-head" }, h("h1", {}, "Trends"), spans.element,
            h("div", { class: "group" }, button("", () => pan(-0.5), { icon: "back", title: "Earlier" }), button("", () => pan(0.5), { icon: "next", title: "Later" }), follow),
            h("div", { class: "group spring" }, fetchButton("CSV", csvQuery), button("PNG", savePng, { icon: "image" }))),
        h("section", { class: "panel" }, h("div", { class: "panel-head" }, chips, picker.button), picker.element, message, hold, spansList, note));

    // ---- what is shown ----

    function range() {
        if (fixed) return fixed;
        const to = store.clock.newest ?? Date.now();
        return [to - span, to];
    }

    function moved() {
        spans.set(fixed ? "" : String(span / 1000));
        setAttr(follow, "aria-pressed", String(!fixed));
        replaceQuery({ modes: keys.join(","), span: fixed ? "" : span / 1000, from: fixed?.[0], to: fixed?.[1] });
        load();
    }

    function zoomTo(tFrom, tTo) {
        const now = store.clock.newest ?? Date.now();
        const width = Math.min(LONGEST, Math.max(10_000, tTo - tFrom));
        const mid = (tFrom + tTo) / 2;
        const to = Math.min(mid + width / 2, now);
        fixed = [Math.round(to - width), Math.round(to)];
        draw(); // at once with what is there, better when the answer comes
        moved();
    }

    function pan(fPart) {
        const [a, b] = range();
        zoomTo(a + fPart * (b - a), b + fPart * (b - a));
    }

    function onKey(event) {
        if (event.ctrlKey || event.metaKey || event.altKey) return;
        const [a, b] = range();
        const actions = {
            ArrowLeft: () => pan(-0.25), ArrowRight: () => pan(0.25),
            "+": () => zoomTo(a + (b - a) / 4, b - (b - a) / 4), "=": () => zoomTo(a + (b - a) / 4, b - (b - a) / 4),
            "-": () => zoomTo(a - (b - a) / 2, b + (b - a) / 2), Home: () => (fixed = null, moved()),
        };
        if (!actions[event.key]) return;
        event.preventDefault();
        actions[event.key]();
    }

    async function load() {
        loading?.abort();
        loading = new AbortController();
        const mine = loading;
        tLoaded = performance.now();
        if (!keys.length) {
            answer = null;
            return draw();
        }
        const [from, to] = range();
        try {
            answer = await get("trends", { modes: keys.join(","), from_ms: Math.floor(from), to_ms: Math.ceil(to), points: Math.min(2000, Math.max(300, hold.clientWidth || 800)) }, mine.signal);
            if (mine === loading) draw();
        } catch (failure) {
            if (failure.name !== "AbortError" && mine === loading) showMessage("The curves could not be had", failure.message);
        }
    }

    function draw() {
        showChips();
        const modes = keys.map((key) => store.modes.get(key)).filter(Boolean);
        if (!modes.length) {
            hold.hidden = true;
            spansList.replaceChildren();
            setText(note, "");
            return showMessage("No mode chosen", "Choose up to eight modes; a card on Now and a row in Events lead here, too.");
        }
        if (!answer) return;
        hold.hidden = false;
        const courses = answer.modes.filter((course) => store.modes.has(`${course.job}:${course.mode}`));
        const jobs = courses.map((course) => store.jobs.get(course.job));
        buildCharts(jobs);
        const seen = range();
        const series = courses.map((course) => {
            const key = `${course.job}:${course.mode}`;
            return { label: modeLabel(store.modes.get(key)), short: course.job_name.slice(0, 18), colour: keys.indexOf(key) };
        });
        const unit = magnitudeUnit(jobs);
        const behind = { events: answer.events.map((e) => ({ ...e, level: e.level_worst })), blind: answer.suspended };
        charts.forEach((chart, i) => {
            const factor = QUANTITIES[i].column === "magnitude" ? (course) => unit.factor(store.jobs.get(course.job)) : () => 1;
            const { data, banded } = columnsOf(courses, QUANTITIES[i].column, factor);
            chart.set(series, data, seen, behind, banded);
        });
        showEvents(answer.events);
        showNote(courses);
    }

    /// The events behind the curves as links, the worst of them first.
    function showEvents(events) {
        const worst = [...events].sort((a, b) => b.level_worst - a.level_worst || b.begin_ms - a.begin_ms).slice(0, MAX_LINKS);
        spansList.replaceChildren(...worst.map((e) => h("li", {}, h("a", { href: `#/events/${e.id}` }, level(e.level_worst), h("span", { class: "num" }, format.dateTime(e.begin_ms)), keys.length > 1 && h("span", { class: "muted" }, e.job_name)))),
            ...(events.length > MAX_LINKS ? [h("li", { class: "muted" }, `and ${events.length - MAX_LINKS} more`)] : []));
    }

    function buildCharts(jobs) {
        const unit = magnitudeUnit(jobs).unit;
        const shape = unit + jobs.map((job) => job.id).join();
        if (shape === strCharts) return;
        strCharts = shape;
        charts.forEach((chart) => chart.destroy());
        charts = QUANTITIES.map((q, i) => new TimeChart({
            ...q, unit: q.column === "magnitude" ? unit : q.unit, lines: limitLines(jobs, q.column), sync: "trends", onRange: zoomTo, xLabels: i === QUANTITIES.length - 1,
            height: 140,
        }));
        hold.replaceChildren(...charts.map((chart) => chart.element));
    }

    function showNote(courses) {
        const any = courses.some((course) => course.magnitude.some((v) => v !== null));
        showMessage(any ? "" : "No swing in this time", any ? "" : emptyReason());
        const kind = { pass: "each pass", bucket: "means with least and greatest value", minute: "minutes: mean, least and greatest value" }[courses[0]?.resolution] ?? "";
        setText(note, `Curves: ${kind}. Behind them: events, coloured by their worst level; hatched: nothing could be seen (${answer.suspended.length} ${answer.suspended.length === 1 ? "time" : "times"}). Drag to zoom, Ctrl and wheel zoom, Shift and wheel move, double click shows more.`);
    }

    function emptyReason() {
        const blind = answer.suspended.reduce((sum, s) => sum + ((s.end_ms ?? answer.to_ms) - s.begin_ms), 0);
        if (blind > 0.9 * (answer.to_ms - answer.from_ms)) return `Nothing could be seen: ${answer.suspended[0].text}.`;
        return "The chosen modes have not swung above the floor of their jobs; a longer span may show more.";
    }

    let strMessage = "";
    function showMessage(strTitle, strText) {
        if (strTitle + strText === strMessage) return;
        strMessage = strTitle + strText;
        message.replaceChildren(...(strTitle ? [empty(strTitle, strText)] : []));
    }

    function showChips() {
        picker.set(keys);
        chips.replaceChildren(...keys.map((key, i) => {
            const mode = store.modes.get(key);
            const swatch = h("i", { class: "swatch", "aria-hidden": "true" });
            swatch.style.background = palette().curves[i % 8];
            const name = mode ? modeLabel(mode) : key;
            return h("span", { class: "chip" }, swatch, h("span", { class: "chip-name" }, name),
                h("button", { type: "button", "aria-label": `Remove ${name}`, onclick: () => (keys = keys.filter((k) => k !== key), moved()) }, icon("close", 14)));
        }));
    }

    // ---- life ----

    async function begin() {
        started = true;
        keys = keys.filter((key) => store.modes.has(key)); // an old address may name what the configuration no longer has
        if (!keys.length) keys = await usualModes(store);
        moved();
    }

    function update() {
        if (!store.ready) return;
        if (!started) begin();
        else if (!fixed && performance.now() - tLoaded > Math.max(2000, Math.min(60_000, span / 300))) load();
    }

    async function savePng() {
        if (charts.length) saveBlob(await chartsToBlob(keys.map((key) => modeLabel(store.modes.get(key))).join("; "), charts), exportName(["trends"], range()[1], "png"));
    }

    function csvQuery() {
        const [from, to] = range();
        return keys.length ? ["export/trends.csv", { modes: keys.join(","), from_ms: Math.floor(from), to_ms: Math.ceil(to) }] : null;
    }

    const unTheme = onTheme(() => (showChips(), charts.forEach((chart) => chart.build())));
    store.wantTraces([]);
    return { element, update, title: "Trends", destroy: () => (unTheme(), loading?.abort(), charts.forEach((chart) => chart.destroy())) };
}

/// What most readers want to see first: modes that swing, else those that swung last, else those of the first job.
async function usualModes(store) {
    const live = store.liveModes().slice(0, 3).map((mode) => mode.key);
    if (live.length) return live;
    try {
        const { events } = await get("events", { kind: "swing", limit: 5 });
        const keys = [...new Set(events.map((e) => `${e.job}:${e.mode}`))].filter((key) => store.modes.has(key));
        if (keys.length) return keys.slice(0, 3);
    } catch {
        // Then the first job does.
    }
    return [...store.modes.keys()].slice(0, 3);
}
