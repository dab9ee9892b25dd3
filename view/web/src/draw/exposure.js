// The picture of exposure: damping ratio to the right, magnitude upwards, the twelve cells between the limits of a job
// drawn to scale, each mode a mark with the path of its last minute. Without limits of one job ("relative") each cell
// is as large as any other and a point lies where the degree of exposure places it in its cell, so that modes of all
// jobs share one picture.

import { CELLS, levelOf, positionOf } from "../level.js";
import * as format from "../format.js";
import { alpha, palette } from "../palette.js";
import { drawMark, font, hatch, niceTicks, placeLabels } from "./marks.js";

const EVENT_WORD = ["Quiet", "Notified", "Notified", "Distinct", "Distinct", "Distinct", "Distinct", "Critical", "Critical", "Critical", "Critical", "Undamped critical"];

export class ExposurePlot {
    /// p_bThumb: without axes and words, for a card.
    constructor(bThumb = false) {
        this.thumb = bThumb;
        this.limits = null; // null: relative
        this.scale = null;
        this.points = []; // { key, label, level, magn, damp, exposure, limits, tail, ended }
        this.selected = null;
        this.fade_ms = 60_000; // age at which a path is all but gone
        this.domain = null;
        this.shown = new Map(); // positions that glide towards the newest values
    }

    setJob(job) {
        const limits = job?.limits ?? null;
        if (limits === this.limits) return;
        this.limits = limits;
        this.scale = job?.scale ?? null;
        this.domain = null;
        this.shown.clear();
    }

    // ---- coordinates ----

    margins() {
        if (this.thumb) return { l: 0, r: 0, t: 0, b: 0 };
        const narrow = this.w < 560;
        return { l: narrow ? 44 : 60, r: narrow ? 12 : 18, t: 34, b: narrow ? 48 : 52 };
    }

    wantedDomain() {
        if (!this.limits) return { x0: 0, x1: 4, y0: 0, y1: 3 };
        const { warnDamp: dw, alarmDamp: da, alarmMagn: la } = this.limits;
        const unit = Math.max(-dw, 0.03);
        let x0 = dw - 1.6 * unit, x1 = unit, y1 = 1.6 * la;
        if (this.thumb) [x0, x1] = [dw - unit, 0.8 * unit];
        for (const p of this.points) {
            if (p.damp === null || p.damp === undefined) continue;
            x0 = Math.min(x0, p.damp - 0.3 * unit);
            x1 = Math.max(x1, p.damp + 0.3 * unit);
            y1 = Math.max(y1, p.magn * 1.15);
        }
        return { x0: Math.max(x0, dw - 5 * unit), x1: Math.min(x1, Math.max(-da, unit) * 5), y0: 0, y1: Math.min(y1, 8 * la) };
    }

    /// Moves the edges of the picture slowly, so that it does not jump when a point comes near them.
    updateDomain(bGlide) {
        const want = this.wantedDomain();
        if (!this.domain || !bGlide) {
            this.domain = want;
            return false;
        }
        let moving = false;
        for (const k of ["x0", "x1", "y0", "y1"]) {
            const d = want[k] - this.domain[k];
            const size = k[0] === "x" ? want.x1 - want.x0 : want.y1 - want.y0;
            if (Math.abs(d) < size * 0.002) this.domain[k] = want[k];
            else {
                this.domain[k] += d * 0.08;
                moving = true;
            }
        }
        return moving;
    }

    px = (x) => this.m.l + ((x - this.domain.x0) / (this.domain.x1 - this.domain.x0)) * this.pw;
    py = (y) => this.m.t + this.ph - ((y - this.domain.y0) / (this.domain.y1 - this.domain.y0)) * this.ph;

    /// Place of a value of magnitude and damping ratio in the picture, in pixels.
    place(point, fMagn, fDamp) {
        if (this.limits) return [this.px(fDamp), this.py(fMagn)];
        const at = positionOf(point.limits, fMagn, fDamp);
        return [this.px(at.column + at.damp), this.py(at.row + at.magn)];
    }

    // ---- drawing ----

    /// Draws all. Returns true while something still glides.
    draw(ctx, w, h, bGlide = false) {
        this.w = w;
        this.h = h;
        this.m = this.margins();
        this.pw = w - this.m.l - this.m.r;
        this.ph = h - this.m.t - this.m.b;
        if (this.pw < 20 || this.ph < 20) return false;
        this.p = palette();
        let moving = this.updateDomain(bGlide);
        ctx.clearRect(0, 0, w, h);
        this.drawCells(ctx);
        if (!this.thumb) this.drawAxes(ctx);
        moving = this.drawPoints(ctx, bGlide) || moving;
        return moving;
    }

    edges() {
        const d = this.domain;
        if (!this.limits) return { xs: [0, 1, 2, 3, 4], ys: [0, 1, 2, 3] };
        const l = this.limits;
        const inside = (v, a, b) => Math.min(b, Math.max(a, v));
        return {
            xs: [d.x0, inside(l.warnDamp, d.x0, d.x1), inside(l.alarmDamp, d.x0, d.x1), inside(0, d.x0, d.x1), d.x1],
            ys: [d.y0, inside(l.warnMagn, d.y0, d.y1), inside(l.alarmMagn, d.y0, d.y1), d.y1],
        };
    }

    drawCells(ctx) {
        const { xs, ys } = this.edges();
        const { p } = this;
        ctx.save();
        if (!this.thumb) {
            ctx.beginPath();
            ctx.roundRect(this.m.l, this.m.t, this.pw, this.ph, 6);
            ctx.clip();
        }
        ctx.fillStyle = p.surface;
        ctx.fillRect(this.m.l, this.m.t, this.pw, this.ph);
        for (let row = 0; row < 3; row++)
            for (let column = 0; column < 4; column++) {
                const x = this.px(xs[column]), x2 = this.px(xs[column + 1]);
                const y = this.py(ys[row + 1]), y2 = this.py(ys[row]);
                this.drawCell(ctx, CELLS[row][column], x, y, x2 - x, y2 - y);
            }
        if (this.limits && !this.thumb) this.drawFloor(ctx);
        this.drawLimits(ctx, xs, ys);
        ctx.restore();
        if (!this.thumb) {
            ctx.strokeStyle = p["line-strong"];
            ctx.lineWidth = 1;
            ctx.beginPath();
            ctx.roundRect(this.m.l + 0.5, this.m.t + 0.5, this.pw - 1, this.ph - 1, 6);
            ctx.stroke();
        }
    }

    drawCell(ctx, nCell, x, y, w, h) {
        if (w < 1 || h < 1) return;
        const { p } = this;
        const level = levelOf(nCell);
        const colour = p.levels[level];
        const strong = p.dark ? [0.03, 0.1, 0.14, 0.2, 0.28][level] : [0.02, 0.1, 0.16, 0.17, 0.2][level];
        // Denser towards the corner of growing magnitude and failing damping, as the degree of exposure grows in the cell.
        const gradient = ctx.createLinearGradient(x, y + h, x + w, y);
        gradient.addColorStop(0, alpha(colour, strong * 0.55));
        gradient.addColorStop(1, alpha(colour, strong * 1.35));
        ctx.fillStyle = gradient;
        ctx.fillRect(x, y, w, h);
        if (this.thumb) return;
        ctx.textAlign = "left";
        ctx.textBaseline = "top";
        if (w > 24 && h > 24) {
            const roomy = w > 150 && h > 60;
            ctx.fillStyle = p.levelTexts[level];
            ctx.font = font(roomy ? 22 : 13, 600);
            ctx.globalAlpha = p.dark ? 0.75 : 0.9;
            ctx.fillText(String(nCell), x + 9, y + 8);
            const left = ctx.measureText(String(nCell)).width;
            ctx.font = font(11, 500);
            ctx.globalAlpha = 1;
            const word = EVENT_WORD[nCell];
            ctx.fillStyle = p.muted;
            const indent = left + (roomy ? 16 : 15);
            if (ctx.measureText(word).width + indent + 6 < w) ctx.fillText(word, x + indent, y + (roomy ? 16 : 10));
        }
    }

    drawFloor(ctx) {
        const y = this.py(this.limits.floor), bottom = this.m.t + this.ph;
        if (bottom - y < 3) return;
        hatch(ctx, this.m.l, y, this.pw, bottom - y, alpha(this.p.muted, 0.16));
        const text = `below ${format.magnitude(this.scale, this.limits.floor)} nothing is reported`;
        ctx.font = font(11);
        if (bottom - y > 22 && ctx.measureText(text).width < this.pw * 0.75) {
            ctx.fillStyle = this.p.muted;
            ctx.textAlign = "left";
            ctx.textBaseline = "bottom";
            ctx.fillText(text, this.m.l + 9, bottom - 6);
        }
    }

    drawLimits(ctx, xs, ys) {
        const { p } = this;
        const line = (x, y, x2, y2, colour, width, dash) => {
            ctx.strokeStyle = colour;
            ctx.lineWidth = width;
            ctx.setLineDash(dash);
            ctx.beginPath();
            ctx.moveTo(x, y);
            ctx.lineTo(x2, y2);
            ctx.stroke();
        };
        const thin = this.thumb ? 0.75 : 1;
        const ink = p.dark ? alpha(p.text, 0.3) : alpha(p.text, 0.32);
        const strong = alpha(p.text, this.thumb ? 0.45 : 0.6);
        for (const [i, dash] of [[1, [4, 4]], [2, []], [3, []]]) {
            const x = Math.round(this.px(xs[i])) + 0.5;
            line(x, this.m.t, x, this.m.t + this.ph, i === 3 ? strong : ink, i === 3 && !this.thumb ? 1.5 : thin, this.thumb ? [] : dash);
        }
        for (const [i, dash] of [[1, [4, 4]], [2, []]]) {
            const y = Math.round(this.py(ys[i])) + 0.5;
            line(this.m.l, y, this.m.l + this.pw, y, ink, thin, this.thumb ? [] : dash);
        }
        ctx.setLineDash([]);
    }

    drawAxes(ctx) {
        const { p, m } = this;
        const right = m.l + this.pw;
        const narrow = this.w < 560;
        ctx.fillStyle = p.muted;
        ctx.font = font(12);
        ctx.textBaseline = "middle";
        if (this.limits) {
            this.drawTicks(ctx);
            this.drawLimitNames(ctx);
        } else this.drawRelativeNames(ctx);
        // Titles with the direction in which it gets worse.
        ctx.fillStyle = p.text;
        ctx.font = font(12, 600);
        ctx.textAlign = "center";
        ctx.textBaseline = "alphabetic";
        ctx.fillText("Damping ratio", m.l + this.pw / 2, this.h - 8);
        ctx.font = font(12);
        ctx.fillStyle = p.muted;
        ctx.textAlign = "left";
        ctx.fillText(narrow ? "← decays" : "← decays faster", m.l, this.h - 8);
        ctx.textAlign = "right";
        ctx.fillText("grows →", right, this.h - 8);
        ctx.save();
        ctx.translate(narrow ? 11 : 14, m.t + this.ph / 2);
        ctx.rotate(-Math.PI / 2);
        ctx.textAlign = "center";
        ctx.fillStyle = p.text;
        ctx.font = font(12, 600);
        ctx.fillText(this.limits ? `Magnitude, ${this.scale.unit}` : "Magnitude", 0, 0);
        ctx.restore();
    }

    drawTicks(ctx) {
        const { m, domain: d } = this;
        const bottom = m.t + this.ph;
        const { ticks, digits } = niceTicks(d.x0, d.x1, this.pw / 90);
        ctx.textAlign = "center";
        ctx.textBaseline = "top";
        for (const x of ticks) ctx.fillText(x === 0 ? "0" : format.fixed(x, Math.max(2, digits)), this.px(x), bottom + 7);
        const f = this.scale.factor;
        const y = niceTicks(0, d.y1 * f, this.ph / 60);
        ctx.textAlign = "right";
        ctx.textBaseline = "middle";
        for (const v of y.ticks) ctx.fillText(format.fixed(v, y.digits), m.l - 8, this.py(v / f));
    }

    drawLimitNames(ctx) {
        const { p, m, limits: l } = this;
        const narrow = this.pw < 520;
        const name = (word, text) => (narrow ? text : `${word} ${text}`);
        ctx.font = font(11, 500);
        ctx.textBaseline = "bottom";
        ctx.fillStyle = p.muted;
        const y = m.t - 7;
        const xw = this.px(l.warnDamp), xa = this.px(l.alarmDamp), x0 = this.px(0);
        ctx.textAlign = "right";
        ctx.fillText(name("warning", format.damping(l.warnDamp)), xw + (narrow ? 2 : 4), y);
        ctx.textAlign = "left";
        const alarm = name("alarm", format.damping(l.alarmDamp));
        ctx.fillText(alarm, xa - 4, y);
        if (xa - 4 + ctx.measureText(alarm).width + 10 < x0) ctx.fillText("undamped", x0 + 2, y);
        // The limits of magnitude stand inside, above their lines, where well damped modes seldom come.
        ctx.textAlign = "left";
        for (const [word, value] of [["warning", l.warnMagn], ["alarm", l.alarmMagn]]) {
            const text = `${word} ${format.magnitude(this.scale, value)}`;
            const ty = this.py(value) - 4;
            if (ty > m.t + 12) {
                ctx.fillStyle = p.text;
                ctx.fillText(text, m.l + 9, ty);
            }
        }
    }

    drawRelativeNames(ctx) {
        const { m } = this;
        const narrow = this.pw < 520;
        ctx.font = font(11, 500);
        ctx.textBaseline = "top";
        ctx.textAlign = "center";
        const bottom = m.t + this.ph + 7;
        for (const [x, text] of [[1, "warning limit"], [2, "alarm limit"], [3, "undamped"]])
            ctx.fillText(narrow ? text.replace(" limit", "") : text, this.px(x), bottom);
        ctx.textBaseline = "middle";
        for (const [y, text] of [[1, "warning"], [2, "alarm"]]) {
            ctx.save();
            ctx.translate(m.l - 9, this.py(y));
            ctx.rotate(-Math.PI / 2);
            ctx.textAlign = "center";
            ctx.textBaseline = "alphabetic";
            ctx.fillText(text, 0, 0);
            ctx.restore();
        }
    }

    // ---- points ----

    drawPoints(ctx, bGlide) {
        let moving = false;
        const heads = [];
        const order = [...this.points].sort((a, b) => (a.exposure ?? 0) - (b.exposure ?? 0));
        ctx.save();
        ctx.beginPath();
        ctx.rect(this.m.l, this.m.t, this.pw, this.ph);
        ctx.clip();
        for (const point of order) {
            const dim = this.selected && this.selected !== point.key;
            const head = this.headOf(point, bGlide);
            moving = head.moving || moving;
            this.drawTail(ctx, point, head, dim);
            heads.push(head);
        }
        ctx.restore();
        const selected = heads.find((head) => head.point.key === this.selected);
        if (selected && !this.thumb) this.drawCross(ctx, selected);
        for (const head of heads) this.drawHead(ctx, head);
        this.heads = heads;
        if (!this.thumb) this.drawLabels(ctx, heads);
        for (const key of this.shown.keys()) if (!this.points.some((p) => p.key === key)) this.shown.delete(key);
        return moving;
    }

    headOf(point, bGlide) {
        let at = this.shown.get(point.key);
        if (!at || !bGlide) {
            at = { magn: point.magn, damp: point.damp };
            this.shown.set(point.key, at);
        }
        let moving = false;
        for (const k of ["magn", "damp"]) {
            const d = point[k] - at[k];
            if (Math.abs(d) > Math.abs(point[k]) * 0.002 + 1e-6) {
                at[k] += d * 0.14;
                moving = true;
            } else at[k] = point[k];
        }
        const [x, y] = this.place(point, at.magn, at.damp);
        const pad = this.thumb ? 3 : 9;
        const bx = Math.min(this.m.l + this.pw - pad, Math.max(this.m.l + pad, x));
        const by = Math.min(this.m.t + this.ph - pad, Math.max(this.m.t + pad, y));
        return { point, x: bx, y: by, trueX: x, trueY: y, beyond: Math.abs(x - bx) > 2 || Math.abs(y - by) > 2, moving };
    }

    drawTail(ctx, point, head, bDim) {
        const { tail } = point;
        if (!tail?.length) return;
        const newest = tail.at(-1).t;
        const spots = tail.map((s) => [...this.place(point, s.magn, s.damp), s]);
        ctx.lineCap = "round";
        for (let i = 1; i <= spots.length; i++) {
            const [x0, y0, s0] = spots[i - 1];
            const [x1, y1, s1] = i < spots.length ? spots[i] : [head.trueX, head.trueY, s0];
            if (s1.hole) continue;
            const age = Math.min(1, (newest - s1.t) / this.fade_ms);
            const fresh = (1 - age) ** 1.3;
            ctx.globalAlpha = (bDim ? 0.25 : 1) * (0.08 + 0.82 * fresh);
            ctx.strokeStyle = this.p.levels[levelOf(s1.exposure)];
            ctx.lineWidth = this.thumb ? 1.2 : 0.8 + 2.4 * fresh;
            ctx.beginPath();
            ctx.moveTo(x0, y0);
            ctx.lineTo(x1, y1);
            ctx.stroke();
            if (!this.thumb && i < spots.length && fresh > 0.05) {
                ctx.globalAlpha *= 0.9;
                ctx.fillStyle = ctx.strokeStyle;
                ctx.beginPath();
                ctx.arc(x1, y1, 0.8 + 1.3 * fresh, 0, 7);
                ctx.fill();
            }
        }
        ctx.globalAlpha = 1;
    }

    drawHead(ctx, { point, x, y, beyond, trueX, trueY }) {
        const { p } = this;
        const colour = p.levels[point.level];
        const dim = this.selected && this.selected !== point.key;
        const size = this.thumb ? 8 : point.key === this.selected ? 21 : 17;
        ctx.globalAlpha = (point.ended ? 0.45 : 1) * (dim ? 0.55 : 1);
        if (!this.thumb && point.level >= 3) {
            const glow = ctx.createRadialGradient(x, y, 2, x, y, 30);
            glow.addColorStop(0, alpha(colour, 0.45));
            glow.addColorStop(1, alpha(colour, 0));
            ctx.fillStyle = glow;
            ctx.fillRect(x - 30, y - 30, 60, 60);
        }
        drawMark(ctx, point.level, x, y, size, colour, p.surface, this.thumb ? 1 : 2);
        if (beyond && !this.thumb) {
            const angle = Math.atan2(trueY - y, trueX - x);
            ctx.save();
            ctx.translate(x + 15 * Math.cos(angle), y + 15 * Math.sin(angle));
            ctx.rotate(angle);
            ctx.fillStyle = p.text;
            ctx.beginPath();
            ctx.moveTo(5, 0);
            ctx.lineTo(-2, -4.5);
            ctx.lineTo(-2, 4.5);
            ctx.fill();
            ctx.restore();
        }
        ctx.globalAlpha = 1;
    }

    /// Lines from the chosen mark to both axes.
    drawCross(ctx, { x, y }) {
        ctx.strokeStyle = alpha(this.p.text, 0.55);
        ctx.lineWidth = 1;
        ctx.setLineDash([2, 3]);
        ctx.beginPath();
        ctx.moveTo(this.m.l, Math.round(y) + 0.5);
        ctx.lineTo(x - 12, Math.round(y) + 0.5);
        ctx.moveTo(Math.round(x) + 0.5, y + 12);
        ctx.lineTo(Math.round(x) + 0.5, this.m.t + this.ph);
        ctx.stroke();
        ctx.setLineDash([]);
    }

    drawLabels(ctx, heads) {
        ctx.font = font(12, 600);
        const labels = heads.filter(({ point }) => point.label).reverse().map((head) => {
            const text = shorten(ctx, head.point.label, Math.min(260, this.pw * 0.55));
            return { ...head, text, w: ctx.measureText(text).width + 12, h: 20 };
        });
        labels.sort((a, b) => (b.point.key === this.selected) - (a.point.key === this.selected));
        const obstacles = heads.map(({ x, y }) => ({ x: x - 10, y: y - 10, w: 20, h: 20 }));
        placeLabels(labels, { x: this.m.l + 2, y: this.m.t + 2, w: this.pw - 4, h: this.ph - 4 }, obstacles);
        ctx.textAlign = "left";
        ctx.textBaseline = "middle";
        for (const { lx, ly, w, h, text, point } of labels) {
            if (lx === undefined) continue;
            const dim = this.selected && this.selected !== point.key;
            ctx.globalAlpha = dim ? 0.6 : 1;
            ctx.fillStyle = alpha(this.p.surface, 0.82);
            ctx.beginPath();
            ctx.roundRect(lx, ly, w, h, 5);
            ctx.fill();
            ctx.fillStyle = this.p.text;
            ctx.fillText(text, lx + 6, ly + h / 2 + 0.5);
        }
        ctx.globalAlpha = 1;
    }

    /// Key of the mark at a place, or null.
    hit(x, y) {
        let best = null, nearest = 24 ** 2;
        for (const head of this.heads ?? []) {
            const d = (head.x - x) ** 2 + (head.y - y) ** 2;
            if (d < nearest) [best, nearest] = [head.point.key, d];
        }
        return best;
    }
}

function shorten(ctx, strText, fWidth) {
    if (ctx.measureText(strText).width <= fWidth) return strText;
    let text = strText.slice(0, 60);
    while (text.length > 1 && ctx.measureText(text + "…").width > fWidth) text = text.slice(0, -1);
    return text + "…";
}

/// The point of a mode for this picture.
export function pointOf(mode, strLabel) {
    const s = mode.state;
    const last = mode.tail.at(-1);
    const alive = s?.alive && s.exposure !== null;
    const at = alive ? { magn: s.magnitude, damp: s.damping_ratio, exposure: s.exposure } : last;
    return at && {
        key: mode.key, label: strLabel, limits: mode.job.limits, tail: mode.tail, ended: !alive, magn: at.magn, damp: at.damp,
        exposure: at.exposure, level: levelOf(at.exposure),
    };
}
