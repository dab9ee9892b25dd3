// Who swung with whom: each job as an arrow, its direction the phase against the event's job, its length the magnitude
// in parts of its own warning limit.

import { alpha, palette } from "../palette.js";
import { font } from "./marks.js";

export function drawPhasors(ctx, w, h, page, store) {
    const p = palette();
    const own = store.jobs.get(page.event.job);
    const arrows = page.neighbours.map((n, i) => {
        const job = store.jobs.get(n.job);
        return n.phase_deg !== null && job && { phase: n.phase_deg, size: n.magnitude / job.limits.warnMagn, label: String(i + 1), colour: p.curves[(i + 1) % 8] };
    }).filter(Boolean);
    if (own) arrows.unshift({ phase: 0, size: (page.event.magnitude_max ?? 0) / own.limits.warnMagn, label: "this job", colour: p.accent, own: true });
    const most = Math.max(1, ...arrows.map((a) => a.size));
    const cx = w / 2, cy = h / 2, radius = Math.min(w / 2 - 66, h / 2 - 22);
    ctx.clearRect(0, 0, w, h);
    if (radius < 10) return;
    drawDial(ctx, p, cx, cy, radius, radius / most);
    for (const a of arrows.reverse()) drawArrow(ctx, p, cx, cy, (radius * a.size) / most, a);
}

function drawDial(ctx, p, cx, cy, radius, fWarning) {
    ctx.strokeStyle = alpha(p.muted, 0.35);
    ctx.lineWidth = 1;
    for (const r of [radius, radius / 2]) {
        ctx.beginPath();
        ctx.arc(cx, cy, r, 0, 7);
        ctx.stroke();
    }
    ctx.setLineDash([4, 4]);
    ctx.strokeStyle = alpha(p.lv2, 0.8);
    ctx.beginPath();
    ctx.arc(cx, cy, fWarning, 0, 7);
    ctx.stroke();
    ctx.setLineDash([]);
    ctx.strokeStyle = alpha(p.muted, 0.35);
    ctx.beginPath();
    ctx.moveTo(cx - radius, cy);
    ctx.lineTo(cx + radius, cy);
    ctx.moveTo(cx, cy - radius);
    ctx.lineTo(cx, cy + radius);
    ctx.stroke();
    ctx.fillStyle = p.muted;
    ctx.font = font(11);
    ctx.textBaseline = "middle";
    ctx.textAlign = "left";
    ctx.fillText("in phase", cx + radius + 8, cy);
    ctx.textAlign = "right";
    ctx.fillText("against", cx - radius - 6, cy);
    ctx.textAlign = "center";
    ctx.fillText("90°", cx, cy - radius - 9);
    ctx.fillText("−90°", cx, cy + radius + 9);
}

function drawArrow(ctx, p, cx, cy, fLength, { phase, colour, label, own }) {
    const angle = (-phase * Math.PI) / 180;
    const x = cx + fLength * Math.cos(angle), y = cy + fLength * Math.sin(angle);
    ctx.strokeStyle = ctx.fillStyle = colour;
    ctx.lineWidth = own ? 3 : 2;
    ctx.lineCap = "round";
    ctx.beginPath();
    ctx.moveTo(cx, cy);
    ctx.lineTo(x - 5 * Math.cos(angle), y - 5 * Math.sin(angle));
    ctx.stroke();
    ctx.save();
    ctx.translate(x, y);
    ctx.rotate(angle);
    ctx.beginPath();
    ctx.moveTo(0, 0);
    ctx.lineTo(-11, -5);
    ctx.lineTo(-11, 5);
    ctx.fill();
    ctx.restore();
    if (own) return;
    // The number of the table's row, beside the arrow.
    const lx = cx + 0.8 * fLength * Math.cos(angle) - 15 * Math.sin(angle), ly = cy + 0.8 * fLength * Math.sin(angle) + 15 * Math.cos(angle);
    ctx.fillStyle = p.surface;
    ctx.beginPath();
    ctx.arc(lx, ly, 9, 0, 7);
    ctx.fill();
    ctx.strokeStyle = colour;
    ctx.lineWidth = 1.5;
    ctx.stroke();
    ctx.fillStyle = p.text;
    ctx.font = font(11, 600);
    ctx.textAlign = "center";
    ctx.textBaseline = "middle";
    ctx.fillText(label, lx, ly + 0.5);
}
