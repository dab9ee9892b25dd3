// One event: the value around it, the course of its mode, who swung with it, and what operators wrote.

import { h, setText } from "../dom.js";
import { button, canvasBox, empty, fetchButton, icon, levelMark, level, saveBlob } from "../parts.js";
import { get, post } from "../api.js";
import { LEVELS, levelOf } from "../level.js";
import { TimeChart, chartsToBlob } from "../draw/chart.js";
import { ExposurePlot } from "../draw/exposure.js";
import { drawPhasors } from "../draw/phasors.js";
import { QUANTITIES, columnsOf, limitLines } from "../courses.js";
import { onTheme } from "../palette.js";
import { withHoles } from "../store.js";
import { exportName } from "../save.js";
import * as format from "../format.js";

const AFTER_MS = 5000; // of the path beside the event

export function eventView({ store, session }, nId) {
    let page = null;
    let loading = false;
    let tLoaded = 0;
    let charts = [];
    const mark = levelMark(26);
    const title = h("h1", {});
    const facts = h("dl", { class: "facts" });
    const message = h("div", {});
    const content = h("div", { class: "event-content" });
    const acknowledge = button("Acknowledge", sendAcknowledgement, { icon: "check", kind: "solid" });
    const element = h("div", { class: "view event" },
        h("a", { class: "back", href: "#/events" }, icon("back", 16), "All events"),
        h("div", { class: "view-head" }, mark.element, title, h("div", { class: "group spring wrap" }, acknowledge,
            fetchButton("Record CSV", () => [`export/events/${nId}.csv`]), fetchButton("COMTRADE", () => [`export/events/${nId}.cff`]), button("PNG", savePng, { icon: "image" }))),
        message, facts, content);

    const plot = new ExposurePlot();
    const path = canvasBox("event-path", (ctx, w, hh) => plot.draw(ctx, w, hh), { role: "img", "aria-label": "Path of the mode through the cells of exposure" });
    const phasors = canvasBox("phasors", (ctx, w, hh) => page && drawPhasors(ctx, w, hh, page, store), { role: "img", "aria-label": "Phases of the jobs that swung together; the table beside it gives the numbers" });
    const valueHold = h("div", { class: "charts" }), courseHold = h("div", { class: "charts" });
    const neighbours = h("div", {}), steps = h("div", {}), notes = h("div", {});
    const panel = (strTitle, ...children) => h("section", { class: "panel" }, h("h2", { class: "panel-title" }, strTitle), ...children);

    async function load() {
        if (loading) return;
        loading = true;
        tLoaded = performance.now();
        try {
            page = await get(`events/${nId}`, { points: 4000 });
            message.replaceChildren();
            draw();
        } catch (failure) {
            if (!page) message.replaceChildren(empty(failure.status === 404 ? "There is no such event" : "The event could not be had", failure.status === 404 ? "It may have been removed by the retention of the memory." : failure.message));
        } finally {
            loading = false;
        }
    }

    // ---- drawing ----

    function draw() {
        const { event } = page;
        const swing = event.kind === "swing";
        mark.set(event.level_worst, swing ? LEVELS[event.level_worst].word : event.kind === "grid" ? "Grid" : "System");
        setText(title, swing ? event.job_name : event.text);
        acknowledge.hidden = Boolean(event.acknowledged) || session.role !== "operator";
        drawFacts(event);
        if (!content.childElementCount) build(swing);
        if (swing) drawSwing();
        drawSteps();
        drawNotes();
    }

    function build(bSwing) {
        const main = [panel("Notes and acknowledgement", notes)], side = [panel(bSwing ? "Levels" : "What was told", steps)];
        if (bSwing) {
            main.unshift(panel("Actual value", valueHold), panel("Course of the mode", courseHold));
            side.unshift(panel("Path of exposure", path.element), panel("Swung with it", phasors.element, neighbours));
        }
        content.replaceChildren(h("div", { class: "event-main" }, main), h("div", { class: "event-side" }, side));
    }

    function drawFacts(event) {
        const job = store.jobs.get(event.job);
        const mode = store.modes.get(`${event.job}:${event.mode}`);
        const end = event.end_ms ?? store.clock.newest;
        const rows = [["Begin", format.dateTime(event.begin_ms)], ["End", event.end_ms === null ? "standing" : `${event.end_known ? "" : "at the latest "}${format.dateTime(event.end_ms)}`],
            ["Duration", `${event.end_known ? "" : "at most "}${format.span((end - event.begin_ms) / 1000)}`]];
        if (event.kind === "swing")
            rows.push(["Mode", mode?.band ?? event.mode_name], ["Frequency", `${format.frequency(event.frequency_Hz)} Hz`],
                ["Greatest magnitude", job ? format.magnitude(job.scale, event.magnitude_max) : format.NONE], ["Greatest damping ratio", format.damping(event.damping_ratio_max)],
                ["Greatest exposure", format.exposure(event.exposure_max)]);
        facts.replaceChildren(...rows.map(([name, value]) => h("div", {}, h("dt", {}, name), h("dd", { class: "num" }, value))));
    }

    function drawSwing() {
        const { event, values, course } = page;
        const job = store.jobs.get(event.job);
        if (!job) return;
        if (!charts.length) {
            charts = [new TimeChart({ title: job.signal === "vpad" ? "Angle" : "Active power", unit: job.scale.unit, digits: job.scale.digits + 1, height: 190, sync: "event" }),
                ...QUANTITIES.map((q, i) => new TimeChart({ ...q, unit: q.column === "magnitude" ? job.scale.unit : q.unit, lines: limitLines([job], q.column), height: 96, sync: "event", xLabels: i === 3 }))];
            valueHold.replaceChildren(charts[0].element);
            courseHold.replaceChildren(...charts.slice(1).map((chart) => chart.element));
        }
        const last = values.time_ms.at(-1) ?? course?.time_ms.at(-1) ?? event.begin_ms + 60_000;
        const range = [Math.min(values.time_ms[0] ?? Infinity, event.begin_ms - 120_000), Math.max(last, (event.end_ms ?? event.begin_ms) + 60_000 * (event.end_ms !== null))];
        const behind = { events: stepSpans(range[1]), blind: [] };
        const factor = job.scale.factor;
        const scaled = (list) => list.map((v) => (v === null ? null : v * factor));
        const banded = values.min.length > 0;
        charts[0].set([{ label: job.name, colour: "accent", width: 1.2 }], [values.time_ms, scaled(values.mean), ...(banded ? [scaled(values.min), scaled(values.max)] : [])], range, behind, banded);
        if (course)
            QUANTITIES.forEach((q, i) => {
                const { data, banded: bands } = columnsOf([course], q.column, () => (q.column === "magnitude" ? factor : 1));
                charts[i + 1].set([{ label: q.title, colour: "accent" }], data, range, behind, bands);
            });
        drawPath(job, course);
        drawNeighbours(job);
    }

    /// The event in pieces, each with the level that stood.
    function stepSpans(tEnd) {
        const spans = [];
        for (const step of page.steps) {
            if (step.transition === "APP") spans.push({ begin_ms: step.time_ms, end_ms: null, level: step.level });
            else if (spans.length) spans.at(-1).end_ms ??= step.time_ms;
        }
        return spans.map((span) => ({ ...span, end_ms: span.end_ms ?? tEnd }));
    }

    function drawPath(job, course) {
        const seen = [];
        course?.time_ms.forEach((t, i) => {
            if (t > (page.event.end_ms ?? Infinity) + AFTER_MS || t < page.event.begin_ms - AFTER_MS) return;
            seen.push({ t, magn: course.magnitude[i], damp: course.damping_ratio[i], exposure: course.exposure[i] });
        });
        const tail = withHoles(seen);
        plot.setJob(job);
        const last = tail.at(-1);
        plot.fade_ms = last ? Math.max(60_000, 1.6 * (last.t - tail[0].t)) : 60_000; // all of the path stays seen
        plot.points = last ? [{ key: "event", label: "", limits: job.limits, tail, magn: last.magn, damp: last.damp, exposure: last.exposure, level: levelOf(last.exposure), ended: page.event.end_ms !== null }] : [];
        path.redraw();
    }

    function drawNeighbours(job) {
        const list = page.neighbours;
        phasors.element.hidden = !list.some((n) => n.phase_deg !== null);
        phasors.redraw();
        if (!list.length) return neighbours.replaceChildren(empty("No other job", "No other mode swung at this frequency at the time of the greatest exposure."));
        neighbours.replaceChildren(h("table", { class: "plain-table" },
            h("thead", {}, h("tr", {}, h("th", { scope: "col" }, "Job"), ["Hz", "Magnitude", "Phase"].map((text) => h("th", { scope: "col", class: "right" }, text)))),
            h("tbody", {}, list.map((n, i) => h("tr", {},
                h("th", { scope: "row" }, h("span", { class: "phasor-number" }, String(i + 1)), h("a", { href: `#/events?job=${n.job}&from=${page.event.begin_ms - 600_000}` }, n.job_name)),
                h("td", { class: "num" }, format.frequency(n.frequency_Hz)),
                h("td", { class: "num" }, format.magnitude(store.jobs.get(n.job)?.scale ?? job.scale, n.magnitude)),
                h("td", { class: "num" }, n.phase_deg === null ? format.NONE : `${format.fixed(n.phase_deg, 0)}°`))))));
    }

    function drawSteps() {
        const job = store.jobs.get(page.event.job);
        const rows = page.steps.filter((s) => s.transition === "APP" || page.event.kind !== "swing");
        steps.replaceChildren(h("ol", { class: "steps" }, rows.map((s) => h("li", {},
            h("span", { class: "num muted" }, format.clock(s.time_ms)), page.event.kind === "swing" ? level(s.level) : h("span", {}, `${s.transition} ${s.text}`),
            page.event.kind === "swing" && h("span", { class: "num muted" }, `${format.magnitude(job?.scale ?? { unit: "", factor: 1, digits: 1 }, s.magnitude)}, ${format.damping(s.damping_ratio)}, ${format.exposure(s.exposure)}`))),
        page.event.end_ms !== null && h("li", {}, h("span", { class: "num muted" }, format.clock(page.event.end_ms)), h("span", { class: "muted" }, "End"))));
    }

    // ---- notes ----

    const text = h("textarea", { rows: 3, maxlength: 4000, required: true, "aria-label": "Note", placeholder: "What was done, what was seen" });
    const sent = h("p", { class: "form-message", role: "status" });
    const form = h("form", { class: "note-form", onsubmit: sendNote }, text, h("div", { class: "group" }, h("button", { class: "button", type: "submit" }, "Add note"), sent));
    const noteList = h("ul", { class: "notes" });

    function drawNotes() {
        const ack = page.event.acknowledged;
        noteList.replaceChildren(
            h("li", {}, ack ? h("p", { class: "acknowledged" }, icon("check", 16), `Acknowledged by ${ack.by}, ${format.dateTime(ack.time_ms)}`) : h("p", { class: "muted" }, "Not acknowledged")),
            ...page.notes.map((note) => h("li", {}, h("p", { class: "note-head muted" }, `${note.by}, ${format.dateTime(note.time_ms)}`), h("p", { class: "note-text" }, note.text))));
        if (!notes.childElementCount) notes.append(noteList, ...(session.role === "operator" ? [form] : [h("p", { class: "muted" }, "Operators may add notes and acknowledge.")]));
    }

    async function sendNote(event) {
        event.preventDefault();
        if (!text.value.trim()) return;
        await change(async () => {
            page.notes.push(await post(`events/${nId}/notes`, { text: text.value.trim() }));
            text.value = "";
            setText(sent, "");
        });
    }

    function sendAcknowledgement() {
        change(async () => (page.event = await post(`events/${nId}/acknowledge`)));
    }

    async function change(fn) {
        try {
            await fn();
            draw();
        } catch (failure) {
            setText(sent, failure.message);
        }
    }

    async function savePng() {
        if (charts.length) saveBlob(await chartsToBlob(`${page.event.job_name}, ${format.dateTime(page.event.begin_ms)} ${format.zoneName()}`, charts), exportName(["event", page.event.job_name], page.event.begin_ms, "png"));
    }

    function update() {
        if (!store.ready) return;
        const open = page && page.event.end_ms === null;
        if (!page ? tLoaded === 0 : open && performance.now() - tLoaded > 3000) load();
        else if (page && !open && page.event.end_ms !== null && (store.clock.newest ?? 0) - page.event.end_ms < 65_000 && performance.now() - tLoaded > 5000) load();
    }

    const unTheme = onTheme(() => (charts.forEach((chart) => chart.build()), path.redraw(), phasors.redraw()));
    store.wantTraces([]);
    return { element, update, title: "Event", destroy: () => (unTheme(), path.destroy(), phasors.destroy(), charts.forEach((chart) => chart.destroy())) };
}
