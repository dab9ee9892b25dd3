// Marks of levels and other small things that several pictures draw.

import { LEVELS } from "../level.js";

const paths = LEVELS.map(({ path }) => new Path2D(path));

export function drawMark(ctx, nLevel, x, y, fSize, strFill, strRim, fRim = 2) {
    const s = fSize / 16;
    ctx.save();
    ctx.translate(x - 8 * s, y - 8 * s);
    ctx.scale(s, s);
    if (strRim) {
        ctx.lineJoin = "round";
        ctx.lineWidth = (2 * fRim) / s;
        ctx.strokeStyle = strRim;
        ctx.stroke(paths[nLevel]);
    }
    ctx.fillStyle = strFill;
    ctx.fill(paths[nLevel], "evenodd");
    ctx.restore();
}

export function font(nSize, nWeight = 400) {
    return `${nWeight} ${nSize}px "Inter Variable", system-ui, sans-serif`;
}

/// Round numbers between a and b, about n of them.
export function niceTicks(a, b, n) {
    const raw = (b - a) / Math.max(1, n);
    const size = 10 ** Math.floor(Math.log10(raw));
    const step = [1, 2, 2.5, 5, 10].find((k) => k * size >= raw * 0.999) * size;
    const ticks = [];
    for (let k = Math.ceil(a / step - 1e-9); k * step <= b + step * 1e-9; k++) ticks.push(k * step);
    const digits = Math.max(0, Math.ceil(-Math.log10(step) - 1e-9) + (Math.abs(step / size - 2.5) < 0.01 ? 1 : 0));
    return { ticks, step, digits };
}

export function hatch(ctx, x, y, w, h, strColor, fStep = 7) {
    ctx.save();
    ctx.beginPath();
    ctx.rect(x, y, w, h);
    ctx.clip();
    ctx.strokeStyle = strColor;
    ctx.lineWidth = 1;
    ctx.beginPath();
    for (let d = -h; d < w; d += fStep) {
        ctx.moveTo(x + d, y + h);
        ctx.lineTo(x + d + h, y);
    }
    ctx.stroke();
    ctx.restore();
}

/// Places labels beside points without overlap: each is { x, y, w, h } of its point and size; sets lx, ly (upper left
/// corner) or leaves lx undefined where there is no room. Earlier ones are served first.
export function placeLabels(labels, bounds, obstacles = []) {
    const taken = [...obstacles];
    const hits = (r) => taken.some((o) => r.x < o.x + o.w && o.x < r.x + r.w && r.y < o.y + o.h && o.y < r.y + r.h);
    for (const label of labels) {
        const { x, y, w, h } = label;
        const g = 15;
        const places = [
            [x + g, y - h / 2], [x - g - w, y - h / 2], [x - w / 2, y - g - h], [x - w / 2, y + g],
            [x + g, y - h - 4], [x + g, y + 4], [x - g - w, y - h - 4], [x - g - w, y + 4],
            [x + g, y - 2 * h - 4], [x + g, y + h + 4], [x - g - w, y - 2 * h - 4], [x - g - w, y + h + 4],
        ];
        for (const [lx, ly] of places) {
            const r = { x: lx, y: ly, w, h };
            if (lx < bounds.x || ly < bounds.y || lx + w > bounds.x + bounds.w || ly + h > bounds.y + bounds.h || hits(r)) continue;
            Object.assign(label, { lx, ly });
            taken.push(r);
            break;
        }
    }
}
