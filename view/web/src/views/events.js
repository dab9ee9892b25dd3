// Events: what has happened, newest first, with filters.

import { h, setText } from "../dom.js";
import { button, canvasBox, empty, fetchButton, icon, level } from "../parts.js";
import { get } from "../api.js";
import { LEVELS } from "../level.js";
import { onTheme, palette } from "../palette.js";
import * as format from "../format.js";

const PART = 100;
const FIELDS = ["level_min", "kind", "standing", "acknowledged", "text", "job", "from", "to"];

export function eventsView({ store, go, replaceQuery }, query) {
    const filter = Object.fromEntries(FIELDS.map((name) => [name, query.get(name) ?? ""]));
    let events = [];
    let next = null;
    let loading = null;
    let timer = 0;
    let loaded = false;

    const select = (strLabel, strName, options) => {
        const element = h("select", { "aria-label": strLabel, onchange: () => changed(strName, element.value) }, options.map(([value, text]) => h("option", { value }, text)));
        element.value = filter[strName];
        return element;
    };
    const search = h("input", { type: "search", placeholder: "Name of the job", "aria-label": "Name of the job", value: filter.text, oninput: () => changed("text", search.value, 300) });
    const time = (strLabel, strName) => {
        const input = h("input", { type: "datetime-local", step: 60, "aria-label": strLabel, value: format.toInput(Number(filter[strName]) || NaN).slice(0, 16), onchange: () => changed(strName, format.fromInput(input.value) || "") });
        return h("label", { class: "field muted" }, strLabel, input);
    };
    const kinds = select("Kind", "kind", [["", "All kinds"], ["swing", "Swings"], ["grid", "Grid"], ["system", "System"]]);
    const jobNote = h("span", { class: "chip", hidden: !filter.job });
    const countText = h("span", { class: "muted", "aria-live": "polite" });
    const strip = canvasBox("event-strip", (ctx, w, hh) => drawStrip(ctx, w, hh), { role: "img", "aria-label": "Events over time, by their worst level" });
    const stripLabels = h("div", { class: "strip-labels muted num", "aria-hidden": "true" }, h("span", {}), h("span", {}));
    const body = h("tbody", {});
    const table = h("table", { class: "event-table" },
        h("thead", {}, h("tr", {}, ["Worst level", "Job", "Mode", "Begin", "Duration", "Magnitude", "Damping", "Exposure", "State"].map((text) => h("th", { scope: "col" }, text)))), body);
    const message = h("div", {});
    const more = button("Show earlier events", () => load(true));
    const element = h("div", { class: "view events" },
        h("div", { class: "view-head" }, h("h1", {}, "Events"), countText, h("span", { class: "spring" }), fetchButton("CSV", () => ["export/events.csv", asked()])),
        h("div", { class: "bar filters" }, h("label", { class: "search" }, icon("search", 16), search),
            select("Worst level at least", "level_min", [["", "All levels"], ...[1, 2, 3, 4].map((n) => [String(n), n === 4 ? LEVELS[n].word : `${LEVELS[n].word} or worse`])]),
            kinds, select("Standing", "standing", [["", "Standing or ended"], ["true", "Standing"], ["false", "Ended"]]),
            select("Acknowledged", "acknowledged", [["", "Acknowledged or not"], ["false", "Not acknowledged"], ["true", "Acknowledged"]]),
            h("span", { class: "group wrap" }, time("from", "from"), time("to", "to")), jobNote),
        h("section", { class: "panel flush" }, h("div", { class: "strip-hold" }, strip.element, stripLabels), h("div", { class: "table-hold" }, table), message, h("div", { class: "table-foot" }, more)));

    function changed(strName, value, nWait = 0) {
        filter[strName] = value;
        replaceQuery(filter);
        clearTimeout(timer);
        timer = setTimeout(() => load(), nWait);
    }

    const asked = () => ({
        level_min: filter.level_min, kind: filter.kind, standing: filter.standing, acknowledged: filter.acknowledged, text: filter.text.trim(),
        job: filter.job, from_ms: filter.from, to_ms: filter.to,
    });

    async function load(bMore = false) {
        loading?.abort();
        loading = new AbortController();
        const mine = loading;
        try {
            const answer = await get("events", { ...asked(), limit: PART, before: bMore ? next : "" }, mine.signal);
            if (mine !== loading) return;
            events = bMore ? [...events, ...answer.events] : answer.events;
            next = answer.next;
            loaded = true;
            draw();
        } catch (failure) {
            if (failure.name !== "AbortError") message.replaceChildren(empty("The events could not be had", failure.message));
        }
    }

    function draw() {
        body.replaceChildren(...events.map(row));
        const n = events.length;
        table.hidden = !n;
        more.hidden = !next;
        setText(countText, n ? `${format.count(n)}${next ? " newest" : ""}` : "");
        const filtered = Object.values(filter).some(Boolean);
        message.replaceChildren(...(n ? [] : [empty(filtered ? "No event fits the filters" : "No event yet",
            filtered ? "Take a filter away to see more." : "Events appear here when a mode reaches a level that its job posts.")]));
        jobNote.replaceChildren(filter.job ? `Job ${store.jobs.get(Number(filter.job))?.name ?? filter.job}` : "",
            h("button", { type: "button", "aria-label": "All jobs", onclick: () => (jobNote.hidden = true, changed("job", "")) }, icon("close", 14)));
        jobNote.hidden = !filter.job;
        strip.redraw();
    }

    function row(event) {
        const job = store.jobs.get(event.job);
        const mode = store.modes.get(`${event.job}:${event.mode}`);
        const standing = event.end_ms === null;
        const end = event.end_ms ?? store.clock.newest;
        const swing = event.kind === "swing";
        const link = h("a", { href: `#/events/${event.id}` }, swing ? event.job_name : event.text);
        const cell = (strLabel, ...children) => h("td", { data: { label: strLabel } }, ...children);
        return h("tr", { data: { event: event.id }, onclick: (e) => e.target.closest("a") || getSelection().toString() || go(`#/events/${event.id}`) },
            h("th", { scope: "row" }, swing ? level(event.level_worst) : h("span", { class: "muted" }, event.kind === "grid" ? "Grid" : "System")),
            h("td", { class: "event-name" }, link),
            cell("Mode", mode?.band ?? event.mode_name),
            h("td", { class: "num", data: { label: "Begin" } }, format.dateTime(event.begin_ms)),
            h("td", { class: "num", data: { label: "Duration" } }, `${event.end_known ? "" : "at most "}${format.span((end - event.begin_ms) / 1000)}`),
            h("td", { class: "num", data: { label: "Magnitude" } }, job ? format.magnitude(job.scale, event.magnitude_max) : format.NONE),
            h("td", { class: "num", data: { label: "Damping" } }, format.damping(event.damping_ratio_max)),
            h("td", { class: "num strong", data: { label: "Exposure" } }, format.exposure(event.exposure_max)),
            h("td", {}, h("div", { class: "event-state" }, standing ? h("span", { class: "tag standing" }, "Standing") : "Ended",
                event.acknowledged && h("span", { class: "tag", title: `${event.acknowledged.by}, ${format.dateTime(event.acknowledged.time_ms)}` }, icon("check", 13), "Ack."),
                event.notes > 0 && h("span", { class: "muted" }, event.notes === 1 ? "1 note" : `${event.notes} notes`))));
    }

    /// The events of the list over time, a bar each, as high as their worst level.
    function drawStrip(ctx, w, hh) {
        const p = palette();
        ctx.clearRect(0, 0, w, hh);
        if (!events.length) return;
        const now = store.clock.newest ?? Date.now();
        const t0 = Math.min(...events.map((e) => e.begin_ms)), t1 = Math.max(now, t0 + 1000);
        setText(stripLabels.firstChild, format.dateTime(t0));
        setText(stripLabels.lastChild, format.dateTime(t1));
        for (const e of [...events].sort((a, b) => a.level_worst - b.level_worst)) {
            const x = ((e.begin_ms - t0) / (t1 - t0)) * w;
            const width = Math.max(2, (((e.end_ms ?? now) - e.begin_ms) / (t1 - t0)) * w);
            const height = ((e.level_worst + 1) / 5) * (hh - 2);
            ctx.fillStyle = p.levels[e.level_worst];
            ctx.fillRect(Math.min(x, w - 2), hh - height, width, height);
        }
    }

    /// Events of the live stream: those in the list change in place, a new one brings the first part again.
    function onChange({ detail }) {
        if (!loaded || !detail?.events?.length) return;
        let fresh = false;
        for (const event of detail.events) {
            const i = events.findIndex((e) => e.id === event.id);
            if (i < 0) fresh = true;
            else {
                const old = events[i];
                events[i] = event;
                if (JSON.stringify(old) !== JSON.stringify(event)) replaceRow(event);
            }
        }
        if (fresh && events.length <= PART) {
            clearTimeout(timer);
            timer = setTimeout(() => load(), 500);
        }
    }

    function replaceRow(event) {
        const old = body.querySelector(`tr[data-event="${Number(event.id)}"]`);
        if (old && !old.contains(document.activeElement)) old.replaceWith(row(event));
    }

    function update() {
        if (store.ready && !loading) load();
    }

    store.addEventListener("change", onChange);
    const unTheme = onTheme(() => strip.redraw());
    store.wantTraces([]);
    return { element, update, title: "Events", destroy: () => (store.removeEventListener("change", onChange), unTheme(), strip.destroy(), loading?.abort(), clearTimeout(timer)) };
}
