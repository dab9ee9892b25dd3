// Exposure: how near each mode is to critical, and where it is going.

import { h, arrange, setText, setAttr } from "../dom.js";
import { button, canvasBox, choice, empty, exposureBar, levelMark, saveBlob } from "../parts.js";
import { isMotionReduced, onFrame } from "../frame.js";
import { onTheme } from "../palette.js";
import { ExposurePlot, pointOf } from "../draw/exposure.js";
import { levelOf, positionOf, wayToCritical } from "../level.js";
import * as format from "../format.js";
import { csv, exportName } from "../save.js";

const TREND_MS = 20_000; // over which the direction is taken
const TREND_ZONES = 0.25; // a change of so many zones in that time is one
const MAX_ROWS = 60;

export function exposureView({ store, replaceQuery }, query) {
    const plot = new ExposurePlot();
    let chosen = query.get("job") ?? "worst"; // "worst", "all" or the id of a job
    let pinned = query.get("mode");
    let hovered = null;
    let job = null;
    let strShape = "";

    const box = canvasBox("exposure-plot", (ctx, w, hh) => plot.draw(ctx, w, hh), { role: "img", "aria-label": "Damping ratio against magnitude of each mode; the list beside it says the same in words" });
    const jobSelect = h("select", { "aria-label": "Job", onchange: () => choose(jobSelect.value) });
    const ways = choice("Scale", [["worst", "Most exposed"], ["all", "All jobs"]], chosen, choose);
    const heading = h("h2", { class: "plot-title" });
    const rows = new Map();
    const list = h("ul", { class: "mode-list" });
    const calm = h("p", { class: "muted" }, "No mode swings above the floor of its job.");
    const nothing = h("div", { class: "plot-nothing", hidden: true });
    const element = h("div", { class: "view exposure" },
        h("div", { class: "view-head" }, h("h1", {}, "Exposure"), ways.element, h("label", { class: "field" }, h("span", { class: "unseen" }, "Job"), jobSelect)),
        h("div", { class: "exposure-grid" },
            h("section", { class: "panel plot-panel", "aria-label": "Picture" },
                h("div", { class: "panel-head" }, heading, h("div", { class: "panel-tools" }, button("CSV", saveCsv, { icon: "export" }), button("PNG", savePng, { icon: "image" }))),
                h("div", { class: "plot-hold" }, box.element, nothing)),
            h("section", { class: "panel", "aria-label": "Modes" }, h("h2", { class: "panel-title" }, "Modes by exposure"), list, calm)));

    box.canvas.addEventListener("pointermove", (event) => hover(plot.hit(event.offsetX, event.offsetY)));
    box.canvas.addEventListener("pointerleave", () => hover(null));
    box.canvas.addEventListener("click", (event) => pin(plot.hit(event.offsetX, event.offsetY)));

    function hover(strKey) {
        hovered = strKey;
        box.canvas.classList.toggle("pointing", strKey !== null);
        mark();
    }

    function pin(strKey) {
        pinned = pinned === strKey ? null : strKey;
        address();
        mark();
    }

    function mark() {
        const key = hovered ?? (pinned && plot.points.some((p) => p.key === pinned) ? pinned : null);
        if (plot.selected !== key) {
            plot.selected = key;
            box.redraw();
        }
        for (const [k, row] of rows) setAttr(row.button, "aria-pressed", String(k === pinned));
    }

    function choose(str) {
        chosen = str;
        ways.set(str);
        pinned = null;
        job = null;
        address();
        update();
    }

    const address = () => replaceQuery({ job: chosen === "worst" ? "" : chosen, mode: pinned });

    /// Fills the list of jobs again when there are others.
    function fillJobs() {
        const shape = [...store.jobs.keys()].join();
        if (shape === strShape) return;
        strShape = shape;
        const jobs = [...store.jobs.values()].sort((a, b) => a.name.localeCompare(b.name, undefined, { numeric: true }));
        jobSelect.replaceChildren(h("option", { value: "worst" }, "Choose a job …"), ...jobs.map((j) => h("option", { value: j.id }, j.name)));
    }

    function pickJob(modes) {
        if (chosen === "all") return null;
        if (chosen !== "worst") return store.jobs.get(Number(chosen)) ?? null;
        const worst = modes[0];
        // The picture stays with its job unless another one is a whole cell worse: it must not flicker between two.
        const own = modes.find((mode) => mode.job === job);
        if (own && worst.state.exposure - own.state.exposure < 1) return job;
        return worst?.job ?? job ?? store.jobs.values().next().value ?? null;
    }

    function update() {
        if (!store.ready) return;
        fillJobs();
        const modes = store.liveModes();
        job = pickJob(modes);
        jobSelect.value = chosen === "worst" || chosen === "all" ? "worst" : chosen;
        plot.setJob(job);
        const shown = job ? modes.filter((mode) => mode.job === job) : modes;
        plot.points = shown.slice(0, 300).map((mode, i) => pointOf(mode, job ? `${format.frequency(mode.state.frequency_Hz)} Hz` : i < 14 ? mode.job.name : ""));
        setText(heading, job ? job.name : "All jobs, each by its own limits");
        showRows(job ? [...shown, ...modes.filter((mode) => mode.job !== job)] : modes);
        showNothing(shown, modes);
        mark();
        moving = true;
    }

    function showRows(modes) {
        const part = modes.slice(0, MAX_ROWS);
        calm.hidden = part.length > 0;
        const keys = new Set(part.map((mode) => mode.key));
        for (const [key, row] of rows) if (!keys.has(key)) (row.element.remove(), rows.delete(key));
        for (const mode of part) {
            if (!rows.has(mode.key)) rows.set(mode.key, makeRow(mode, choose, pin, hover));
            fillRow(rows.get(mode.key), mode, mode.job === job || !job);
        }
        arrange(list, part.map((mode) => rows.get(mode.key).element));
    }

    let strNothing = null;
    function showNothing(shown, modes) {
        let text = "";
        if (!shown.length) {
            if (store.status.level !== "ok") text = store.status.text;
            else if (modes.length) text = "The swings of other jobs stand in the list.";
            else text = "Marks appear as soon as a mode swings above the floor of its job.";
        }
        if (text === strNothing) return;
        strNothing = text;
        nothing.hidden = !text;
        const title = store.status.level === "ok" ? (job ? "No mode of this job swings" : "No mode swings") : "No swing can be shown now";
        nothing.replaceChildren(...(text ? [empty(title, text)] : []));
    }

    async function savePng() {
        const blob = await new Promise((done) => box.canvas.toBlob(done));
        saveBlob(blob, exportName(["exposure", job?.name ?? "all jobs"], store.clock.newest, "png"));
    }

    function saveCsv() {
        const lines = [["time", "job", "mode_from_Hz", "mode_to_Hz", "magnitude", "unit", "damping_ratio", "degree_of_exposure"]];
        for (const { key } of plot.points) {
            const mode = store.modes.get(key);
            for (const s of mode.tail)
                lines.push([new Date(s.t).toISOString(), mode.job.name, mode.freq_min_Hz, mode.freq_max_Hz, s.magn, mode.job.unit, s.damp, s.exposure]);
        }
        saveBlob(csv(lines), exportName(["exposure", job?.name ?? "all jobs"], store.clock.newest, "csv"));
    }

    let moving = false; // since the last message or until all marks have come to rest
    const stop = onFrame(() => {
        if (moving && box.seen && box.width) moving = plot.draw(box.context, box.width, box.height, !isMotionReduced());
        return moving;
    });
    const unTheme = onTheme(() => box.redraw());
    store.wantTraces([]);
    return { element, update, title: "Exposure", destroy: () => (stop(), unTheme(), box.destroy()) };
}

function makeRow(mode, choose, pin, hover) {
    const row = { mark: levelMark(18), bar: exposureBar() };
    for (const name of ["name", "exposure", "facts", "way", "trend"]) row[name] = h("span", { class: `mode-${name}` });
    row.button = h("button", {
        type: "button", class: "mode-row", "aria-pressed": "false",
        onclick: () => (row.own ? pin(mode.key) : choose(String(mode.job.id))),
        onpointerenter: () => row.own && hover(mode.key), onpointerleave: () => hover(null),
        onfocus: () => row.own && hover(mode.key), onblur: () => hover(null),
    },
    h("span", { class: "mode-head" }, row.mark.element, row.exposure), row.name, row.bar.element, row.facts, row.way, row.trend);
    row.element = h("li", {}, row.button);
    return row;
}

function fillRow(row, mode, bOwn) {
    const { job, state: s } = mode;
    row.own = bOwn;
    setAttr(row.button, "class", bOwn ? "mode-row" : "mode-row other");
    row.mark.set(levelOf(s.exposure));
    setText(row.exposure, format.exposure(s.exposure));
    setText(row.name, job.name);
    row.bar.set(s.exposure, levelOf(s.exposure));
    setText(row.facts, `${format.frequency(s.frequency_Hz)} Hz · ${format.magnitude(job.scale, s.magnitude)} · ${format.damping(s.damping_ratio)}`);
    setText(row.way, wayText(job, s));
    const { arrow, word } = direction(mode);
    setText(row.trend, `${arrow} ${word}`);
    setAttr(row.trend, "class", `mode-trend ${word.split(" ")[0]}`);
}

function wayText(job, s) {
    const way = wayToCritical(job.limits, s.magnitude, s.damping_ratio);
    if (way.critical) return "Critical now";
    const parts = [];
    if (way.magn !== null) parts.push(`+${format.magnitude(job.scale, way.magn)}`);
    if (way.damp !== null) parts.push(`damping ${format.damping(way.damp)}`);
    if (!parts.length) return "To critical: more of both";
    return `To critical: ${parts.join(" or ")}`;
}

/// Where the mode has gone in the last seconds, through the zones of magnitude and damping ratio together: the slope of
/// a straight line. The degree of exposure itself would not do, it hardly moves in the inner corners of the cells.
export function direction(mode) {
    const newest = mode.tail.at(-1)?.t ?? 0;
    const recent = mode.tail.filter((s) => newest - s.t <= TREND_MS);
    if (recent.length < 5) return { arrow: "·", word: "new" };
    const points = recent.map((s) => {
        const at = positionOf(mode.job.limits, s.magn, s.damp);
        return [s.t, at.row + at.magn + at.column + at.damp];
    });
    const mt = points.reduce((sum, [t]) => sum + t, 0) / points.length, mx = points.reduce((sum, [, x]) => sum + x, 0) / points.length;
    let above = 0, below = 0;
    for (const [t, x] of points) {
        above += (t - mt) * (x - mx);
        below += (t - mt) ** 2;
    }
    const change = below ? (above / below) * TREND_MS : 0; // in zones, over the time looked at
    if (change > TREND_ZONES) return { arrow: "↗", word: "rising" };
    if (change < -TREND_ZONES) return { arrow: "↘", word: "falling" };
    return { arrow: "→", word: "steady" };
}
