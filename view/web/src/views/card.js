// The card of one job: its actual value as it moves, its place among the limits, and its modes.

import { h, setText, setAttr } from "../dom.js";
import { canvasBox, exposureBar, levelMark } from "../parts.js";
import { alpha, palette } from "../palette.js";
import { ExposurePlot, pointOf } from "../draw/exposure.js";
import * as format from "../format.js";

const WINDOW_MS = 120_000;
const min = new Float64Array(2048), max = new Float64Array(2048);

export class JobCard {
    constructor(store, job) {
        this.store = store;
        this.job = job;
        this.mark = levelMark(18);
        this.value = h("span", { class: "card-value" });
        this.span = { lo: NaN, hi: NaN };
        this.tDrawn = -Infinity;
        this.spark = canvasBox("spark", () => this.drawSpark(store.clock.smooth()), { role: "img", "aria-label": `Actual value of ${job.name}, last two minutes` });
        this.plot = new ExposurePlot(true);
        this.plot.setJob(job);
        this.thumb = canvasBox("thumb", (ctx, w, hh) => this.plot.draw(ctx, w, hh), { role: "img", "aria-label": `Exposure of ${job.name}` });
        this.note = h("p", { class: "card-note", hidden: true });
        this.rows = new Map();
        this.body = h("tbody", {});
        this.table = h("table", { class: "mode-table" },
            h("thead", {}, h("tr", {}, h("th", { scope: "col" }, "Level"), h("th", { scope: "col" }, "Hz"), h("th", { scope: "col" }, job.scale.unit),
                h("th", { scope: "col" }, "Damping"), h("th", { scope: "col" }, "Exposure"), h("th", { scope: "col" }, "Since"))),
            this.body);
        const name = h("a", { class: "card-name", href: `#/exposure?job=${job.id}`, title: job.name }, job.name);
        this.element = h("article", { class: "card", data: { job: job.id } },
            h("header", {}, this.mark.element, h("h2", {}, name), this.value),
            h("div", { class: "card-pictures" }, this.spark.element, h("a", { href: `#/exposure?job=${job.id}`, class: "thumb-link", "aria-label": `Exposure of ${job.name}` }, this.thumb.element)),
            this.note, this.table);
    }

    update() {
        const { job, store } = this;
        const state = job.state;
        if (!state) return;
        const alive = job.modes.filter((mode) => mode.state?.alive);
        this.mark.set(state.level, state.level === 0 && !alive.length ? "Quiet" : undefined);
        setAttr(this.element, "class", `card lv-edge${state.level}`);
        setText(this.value, state.quality === 2 ? "invalid" : format.magnitude(job.scale, state.value));
        for (const mode of job.modes) this.updateRow(mode);
        this.table.hidden = !alive.length;
        this.showNote(alive, store.clock.newest);
        this.plot.points = job.modes.map((mode) => mode.state?.alive && pointOf(mode)).filter(Boolean);
        if (this.thumb.seen) this.thumb.redraw();
    }

    showNote(alive, tNow) {
        const { job } = this;
        let text = "";
        if (job.state.suspended) text = `Suspended: ${job.state.suspended}`;
        else if (!alive.length) {
            const longest = job.windows_s.at(-1);
            if (job.tLively !== null && tNow - job.tLively < 3600_000) text = `Quiet for ${format.span((tNow - job.tLively) / 1000)}`;
            else if (job.state.filled_s < longest - 0.5) text = `The window of ${Math.round(longest)} s is full in ${Math.ceil(longest - job.state.filled_s)} s; slower swings are not seen before`;
            else text = "Quiet: no mode swings above the floor";
        }
        setText(this.note, text);
        this.note.hidden = !text;
    }

    updateRow(mode) {
        const { scale } = this.job;
        const s = mode.state;
        let row = this.rows.get(mode.key);
        if (!s?.alive) {
            row?.element.remove();
            this.rows.delete(mode.key);
            return;
        }
        if (!row) {
            row = makeRow(mode);
            this.rows.set(mode.key, row);
            this.body.append(row.element);
        }
        row.mark.set(s.level, s.level === 0 ? "Below" : undefined);
        setText(row.frequency, format.frequency(s.frequency_Hz));
        setText(row.magnitude, format.magnitude(scale, s.magnitude, false));
        setText(row.damping, format.damping(s.damping_ratio));
        setText(row.exposure, format.exposure(s.exposure));
        setText(row.since, format.clock(s.since_ms));
        row.bar.set(s.exposure, s.level);
    }

    /// Draws the value again once it has moved by a part of a pixel: no more often, the page is open all day.
    frame(t) {
        if (!this.spark.seen || Math.abs(t - this.tDrawn) * this.spark.width < 0.25 * WINDOW_MS) return;
        this.drawSpark(t);
    }

    redraw() {
        this.thumb.redraw();
    }

    drawSpark(t) {
        const { context: ctx, width: w, height: hh } = this.spark;
        if (t === null || w < 4) return;
        this.tDrawn = t;
        const n = Math.min(w, 2048);
        const p = palette();
        const { trace, limits, state } = this.job;
        trace.columns(t - WINDOW_MS, t, n, min, max);
        ctx.clearRect(0, 0, w, hh);
        if (!this.fitSpan(n, limits.warnMagn)) return this.drawNoValue(ctx, w, hh, p);
        const { lo, hi } = this.span;
        const y = (v) => 3 + (1 - (v - lo) / (hi - lo)) * (hh - 6);
        this.drawMinutes(ctx, t, w, hh, p);
        const colour = state?.level ? p.levels[state.level] : p.accent;
        ctx.strokeStyle = colour;
        ctx.lineWidth = 1.4;
        ctx.lineJoin = "round";
        ctx.beginPath();
        let open = false, last = NaN;
        for (let c = 0; c < n; c++) {
            if (Number.isNaN(min[c])) {
                // Fewer values than columns leave empty columns between two values; a hole is longer than that.
                if (open && holeFrom(c, n) > Math.max(3, (2.5 * trace.step * n) / WINDOW_MS)) open = false;
                continue;
            }
            const top = y(max[c]), bottom = y(min[c]);
            if (open) ctx.lineTo(c, Math.abs(last - top) < Math.abs(last - bottom) ? top : bottom);
            else ctx.moveTo(c, top);
            if (bottom - top > 0.5) {
                ctx.lineTo(c, top);
                ctx.lineTo(c, bottom);
            }
            last = bottom;
            open = true;
        }
        ctx.stroke();
    }

    /// The span of values that is shown follows the data slowly, and is never so small that noise looks like a swing.
    fitSpan(n, fWarning) {
        let lo = Infinity, hi = -Infinity;
        for (let c = 0; c < n; c++) {
            if (min[c] < lo) lo = min[c];
            if (max[c] > hi) hi = max[c];
        }
        if (lo > hi) return false;
        const mid = (lo + hi) / 2, half = Math.max((hi - lo) / 2, fWarning * 0.7) * 1.08;
        const s = this.span;
        const k = Number.isNaN(s.lo) ? 1 : 0.12;
        s.lo = k === 1 ? mid - half : s.lo + k * (mid - half - s.lo);
        s.hi = k === 1 ? mid + half : s.hi + k * (mid + half - s.hi);
        return true;
    }

    drawMinutes(ctx, t, w, hh, p) {
        ctx.strokeStyle = alpha(p.muted, 0.22);
        ctx.lineWidth = 1;
        ctx.beginPath();
        for (let m = Math.floor(t / 30_000) * 30_000; m > t - WINDOW_MS; m -= 30_000) {
            const x = Math.round(w * (1 - (t - m) / WINDOW_MS)) + 0.5;
            ctx.moveTo(x, 0);
            ctx.lineTo(x, hh);
        }
        ctx.stroke();
    }

    drawNoValue(ctx, w, hh, p) {
        ctx.fillStyle = p.muted;
        ctx.font = '12px "Inter Variable", system-ui, sans-serif';
        ctx.textAlign = "center";
        ctx.textBaseline = "middle";
        ctx.fillText("no values", w / 2, hh / 2);
    }

    destroy() {
        this.spark.destroy();
        this.thumb.destroy();
    }
}

function holeFrom(c, n) {
    let k = c;
    while (k < n && Number.isNaN(min[k])) k++;
    return k - c;
}

function makeRow(mode) {
    const row = { mark: levelMark(14) };
    for (const name of ["frequency", "magnitude", "damping", "exposure", "since"]) row[name] = h("td", { class: "num" });
    row.bar = exposureBar();
    const number = h("span", {});
    const cell = h("td", { class: "num exposure-cell" }, row.bar.element, number);
    row.element = h("tr", { data: { mode: mode.key }, title: `Mode ${mode.band}` }, h("th", { scope: "row" }, row.mark.element), row.frequency, row.magnitude, row.damping, cell, row.since);
    row.exposure = number;
    return row;
}
