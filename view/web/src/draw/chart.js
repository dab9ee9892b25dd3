// Curves over time: uPlot with the colours of the page, spans behind the curves, and zoom that is left to the caller.

import uPlot from "uplot";
import * as format from "../format.js";
import { alpha, palette } from "../palette.js";
import { h, setText } from "../dom.js";
import { font, hatch } from "./marks.js";

const AXIS = 58; // px, left

/// One picture of curves.
///   series   [{ label, colour (index or name of the palette), width }], in the order of the columns of data
///   bands    true: each curve has two more columns after all curves, its minimum and maximum
///   lines    [{ y, text }] limits across the picture
///   onRange  (from_ms, to_ms) the reader wants to see this
export class TimeChart {
    constructor({ height = 150, title, unit = "", digits = null, sync, onRange, xLabels = true, lines = [], minSpan = 0, includeZero = false }) {
        Object.assign(this, { title, unit, digits, sync, onRange, xLabels, lines, minSpan, includeZero });
        this.height = height + (xLabels ? 26 : 0);
        this.spans = { events: [], blind: [] };
        this.hold = h("div", { class: "chart-hold" });
        this.readout = h("span", { class: "chart-readout num" });
        this.element = h("div", { class: "chart", role: "img", "aria-label": `${title} over time` },
            h("div", { class: "chart-head" }, h("span", { class: "chart-title" }, title, unit && h("span", { class: "muted" }, ` ${unit}`)), this.readout), this.hold);
        this.hold.style.height = `${this.height}px`;
        this.sizes = new ResizeObserver(([{ contentRect }]) => this.u?.setSize({ width: Math.max(60, Math.floor(contentRect.width)), height: this.height }));
        this.sizes.observe(this.hold);
        this.hold.addEventListener("wheel", (event) => this.wheel(event), { passive: false });
    }

    /// Shows these columns: [times in ms, curve, curve, ..., (min, max) of each curve if bBands].
    set(series, data, range, spans, bBands = false) {
        this.series = series;
        this.range = range;
        this.spans = spans;
        const shape = JSON.stringify([series.map((s) => [s.label, s.colour]), bBands, format.isUtc()]);
        if (this.u && shape === this.shape) {
            this.data = data;
            this.u.setData(data, false);
            this.u.batch(() => {
                this.u.setScale("x", { min: range[0], max: range[1] });
            });
            return;
        }
        this.shape = shape;
        this.bands = bBands;
        this.data = data;
        this.build();
    }

    /// Again from the beginning, for another theme.
    build() {
        this.u?.destroy();
        if (!this.data) return;
        this.u = new uPlot(this.options(), this.data, this.hold);
    }

    options() {
        const p = palette();
        const n = this.series.length;
        const stroke = (s) => (typeof s.colour === "number" ? p.curves[s.colour % 8] : p[s.colour]);
        const curves = this.series.map((s) => ({
            label: s.label, stroke: stroke(s), width: s.width ?? 1.5, scale: "y",
            points: { show: true, filter: lonePoints, size: 4, fill: stroke(s), width: 0 },
        }));
        const edges = this.bands ? this.series.flatMap(() => [{ scale: "y", stroke: "transparent", width: 0, points: { show: false } }, { scale: "y", stroke: "transparent", width: 0, points: { show: false } }]) : [];
        const bands = this.bands ? this.series.map((s, i) => ({ series: [n + 2 + 2 * i, n + 1 + 2 * i], fill: alpha(stroke(s), 0.2) })) : [];
        const ink = { stroke: p.muted, font: font(11), grid: { stroke: alpha(p.muted, 0.14), width: 1 }, ticks: { show: false } };
        return {
            width: Math.max(60, Math.floor(this.hold.clientWidth || 600)), height: this.height, ms: 1, legend: { show: false },
            tzDate: format.isUtc() ? (t) => uPlot.tzDate(new Date(t), "Etc/UTC") : undefined,
            padding: [8, 12, this.xLabels ? 0 : 8, 0],
            cursor: {
                sync: this.sync ? { key: this.sync, setSeries: false } : undefined, y: false, drag: { x: Boolean(this.onRange), y: false, setScale: false },
                points: { size: 7 }, bind: { dblclick: (u) => () => this.zoom(3, 0.5) },
            },
            scales: { x: { time: true, range: () => this.range }, y: { range: (u, lo, hi) => this.yRange(lo, hi) } },
            series: [{}, ...curves, ...edges], bands,
            axes: [
                { ...ink, show: true, size: this.xLabels ? 26 : 0, values: this.xLabels ? xValues : (u, splits) => splits.map(() => ""), space: 84, gap: 4 },
                { ...ink, size: AXIS, values: yValues, space: 34, gap: 6 },
            ],
            hooks: {
                drawClear: [(u) => this.drawSpans(u)], draw: [(u) => this.drawLines(u)], setCursor: [(u) => this.showCursor(u)],
                setSelect: [(u) => this.select(u)],
            },
        };
    }

    yRange(lo, hi) {
        if (lo === null || !Number.isFinite(lo)) [lo, hi] = this.lines.length ? [Math.min(0, ...this.lines.map((l) => l.y)), Math.max(0, ...this.lines.map((l) => l.y))] : [0, 1];
        if (this.includeZero) [lo, hi] = [Math.min(lo, 0), Math.max(hi, 0)];
        const grow = Math.max(0, this.minSpan - (hi - lo)) / 2 || (hi - lo) * 0.08 || Math.abs(hi) * 0.1 || 1;
        return [this.includeZero && lo === 0 ? 0 : lo - grow, hi + grow];
    }

    // ---- zoom ----

    select(u) {
        const { left, width } = u.select;
        if (width < 4 || !this.onRange) return;
        u.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
        this.onRange(u.posToVal(left, "x"), u.posToVal(left + width, "x"));
    }

    /// fFactor above 1 shows more, below 1 less; fAt: the part of the width that keeps its time.
    zoom(fFactor, fAt) {
        if (!this.onRange) return;
        const [a, b] = this.range;
        const mid = a + (b - a) * fAt;
        this.onRange(mid - (mid - a) * fFactor, mid + (b - mid) * fFactor);
    }

    wheel(event) {
        if (!this.onRange || (!event.ctrlKey && !event.shiftKey)) return;
        event.preventDefault();
        const [a, b] = this.range;
        if (event.ctrlKey) {
            const box = this.u.over.getBoundingClientRect();
            this.zoom(event.deltaY > 0 ? 1.25 : 0.8, Math.min(1, Math.max(0, (event.clientX - box.left) / box.width)));
        } else {
            const step = ((event.deltaY || event.deltaX) / 600) * (b - a);
            this.onRange(a + step, b + step);
        }
    }

    // ---- drawing ----

    drawSpans(u) {
        const p = palette();
        const { ctx } = u;
        const { left, top, width, height } = u.bbox;
        const ratio = window.devicePixelRatio || 1;
        const x = (t) => Math.min(left + width, Math.max(left, u.valToPos(t, "x", true)));
        ctx.save();
        // One path a level, so that spans of several modes one over the other do not grow darker.
        for (let level = 0; level <= 4; level++) {
            const wash = new Path2D(), edge = new Path2D();
            for (const event of this.spans.events) {
                if (event.level !== level) continue;
                const x0 = x(event.begin_ms), x1 = Math.max(x0 + 2 * ratio, x(event.end_ms ?? this.range[1]));
                if (x1 <= left || x0 >= left + width) continue;
                wash.rect(x0, top, x1 - x0, height);
                edge.rect(x0, top, x1 - x0, 3 * ratio);
            }
            ctx.fillStyle = alpha(p.levels[level], p.dark ? 0.14 : 0.12);
            ctx.fill(wash);
            ctx.fillStyle = p.levels[level];
            ctx.fill(edge);
        }
        const blind = new Path2D();
        for (const { begin_ms, end_ms } of this.spans.blind) {
            const x0 = x(begin_ms), x1 = Math.max(x0 + ratio, x(end_ms ?? this.range[1]));
            if (x1 <= left || x0 >= left + width) continue;
            blind.rect(x0, top, x1 - x0, height);
            if (x1 - x0 >= 5 * ratio) hatch(ctx, x0, top, x1 - x0, height, alpha(p.muted, 0.35), 6 * ratio);
        }
        ctx.fillStyle = alpha(p.muted, 0.12);
        ctx.fill(blind);
        ctx.restore();
    }

    drawLines(u) {
        if (!this.lines.length) return;
        const p = palette();
        const { ctx } = u;
        const { left, top, width, height } = u.bbox;
        const ratio = window.devicePixelRatio || 1;
        ctx.save();
        ctx.setLineDash([4 * ratio, 4 * ratio]);
        ctx.lineWidth = ratio;
        ctx.font = font(10.5 * ratio, 500);
        ctx.textAlign = "right";
        ctx.textBaseline = "bottom";
        let named = Infinity; // where the last name stands: names do not overlap
        for (const { y, text } of [...this.lines].sort((a, b) => a.y - b.y)) {
            const py = Math.round(u.valToPos(y, "y", true)) + 0.5;
            if (py < top + 10 * ratio || py > top + height) continue;
            ctx.strokeStyle = alpha(p.muted, 0.6);
            ctx.beginPath();
            ctx.moveTo(left, py);
            ctx.lineTo(left + width, py);
            ctx.stroke();
            if (named - py < 12 * ratio) continue;
            named = py;
            ctx.fillStyle = p.muted;
            ctx.fillText(text, left + width - 4 * ratio, py - 2 * ratio);
        }
        ctx.restore();
    }

    showCursor(u) {
        const i = u.cursor.idx;
        if (i === null || i === undefined || u.cursor.left < 0) return setText(this.readout, "");
        const values = this.series.map((s, k) => {
            const v = this.data[k + 1][i];
            return (this.series.length > 1 ? `${s.short ?? s.label} ` : "") + format.fixed(v, this.digits ?? 3);
        });
        setText(this.readout, `${format.dateTime(this.data[0][i])}   ${values.slice(0, 4).join("   ")}`);
    }

    /// The picture with its title on the ground of the page, as a canvas.
    toCanvas() {
        return this.u?.ctx.canvas ?? null;
    }

    destroy() {
        this.sizes.disconnect();
        this.u?.destroy();
        this.u = null;
    }
}

/// A value without neighbours makes no line, so it gets a point.
function lonePoints(u, nSeries) {
    const data = u.data[nSeries];
    const out = [];
    const [i0, i1] = u.series[0].idxs ?? [0, data.length - 1];
    for (let i = i0; i <= i1; i++)
        if (data[i] !== null && data[i] !== undefined && (data[i - 1] ?? null) === null && (data[i + 1] ?? null) === null) out.push(i);
    return out;
}

function xValues(u, splits) {
    const span = u.scales.x.max - u.scales.x.min;
    let before = "";
    return splits.map((t) => {
        const date = format.day(t);
        const time = span < 600e3 ? format.clock(t) : format.clock(t).slice(0, 5);
        const text = span > 3 * 86400e3 ? date.slice(5) : date === before || before === "" ? time : date.slice(5);
        before = date;
        return text;
    });
}

function yValues(u, splits) {
    const step = splits.length > 1 ? splits[1] - splits[0] : (u.scales.y.max - u.scales.y.min) / 2;
    const digits = Math.max(0, Math.ceil(-Math.log10(step) - 1e-9) + (/^2[05]?5/.test(String(step).replace(/[0.]/g, "")) ? 1 : 0));
    return splits.map((v) => format.fixed(v, Math.min(6, digits)));
}

/// Charts one below the other as one picture, for a file.
export async function chartsToBlob(strTitle, charts) {
    const p = palette();
    const parts = charts.map((chart) => [chart, chart.toCanvas()]).filter(([, canvas]) => canvas);
    const ratio = window.devicePixelRatio || 1;
    const width = Math.max(...parts.map(([, c]) => c.width));
    const head = 44 * ratio, cap = 24 * ratio;
    const canvas = document.createElement("canvas");
    canvas.width = width + 24 * ratio;
    canvas.height = head + parts.reduce((sum, [, c]) => sum + c.height + cap, 0) + 12 * ratio;
    const ctx = canvas.getContext("2d");
    ctx.fillStyle = p.surface;
    ctx.fillRect(0, 0, canvas.width, canvas.height);
    ctx.fillStyle = p.text;
    ctx.font = font(16 * ratio, 600);
    ctx.fillText(strTitle, 14 * ratio, 28 * ratio);
    let y = head;
    for (const [chart, picture] of parts) {
        ctx.font = font(12 * ratio, 600);
        ctx.fillText(`${chart.title} ${chart.unit}`, 14 * ratio, y + 14 * ratio);
        ctx.drawImage(picture, 12 * ratio, y + cap);
        y += picture.height + cap;
    }
    return new Promise((done) => canvas.toBlob(done));
}
