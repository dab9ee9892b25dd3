// A grid that swings by a seed: for each time the actual values, modes and events that an analysis would report, by
// formula, so that any span of the past can be asked for. Only for the development of the page and its tests.

import { exposureOf, levelOf } from "../src/level.js";

const CYCLE = 480; // s; each has its own swings
const PLACES = ["Alder", "Birch", "Cedar", "Dogwood", "Elm", "Fir", "Gorse", "Hazel", "Ivy", "Juniper", "Larch", "Maple"];
const BANDS = [[0.05, 0.2], [0.2, 0.8], [0.8, 3.0]];

// Profiles of swings: frequency, then segments of seconds, damping ratio and amplitude in warning limits at their end.
const PROFILES = [
    { f: 0.41, from: 0.3, parts: [[70, 0.019, 2.9], [8, -0.01, 2.6], [40, -0.055, 0.3]] },
    { f: 1.12, from: 2.3, parts: [[60, -0.014, 1.1], [50, -0.02, 0.35]] },
    { f: 0.13, from: 0.4, parts: [[40, -0.035, 0.8], [150, -0.041, 1.4], [60, -0.08, 0.3]] },
    { f: 0.62, from: 1.2, parts: [[180, -0.072, 1.35], [30, -0.1, 0.3]] },
    { f: 0.31, from: 0.45, parts: [[200, -0.022, 0.75], [30, -0.06, 0.3]] },
    { f: 1.7, from: 0.6, parts: [[90, -0.06, 0.9], [60, -0.045, 1.2], [40, -0.09, 0.3]] },
];

export function random(nSeed) {
    let a = nSeed | 0;
    return () => {
        a = (a + 0x6d2b79f5) | 0;
        let t = Math.imul(a ^ (a >>> 15), 1 | a);
        t = (t + Math.imul(t ^ (t >>> 7), 61 | t)) ^ t;
        return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
    };
}

const hash = (a, b) => random(Math.imul(a, 73856093) ^ Math.imul(b, 19349663))();
/// Smooth noise of -1 to 1 with a knot every fStep seconds.
function smooth(nSeed, t, fStep) {
    const k = Math.floor(t / fStep);
    const u = t / fStep - k;
    const w = u * u * (3 - 2 * u);
    return (hash(nSeed, k) * (1 - w) + hash(nSeed, k + 1) * w) * 2 - 1;
}

export class Model {
    constructor({ jobs = 14, seed = 7, hostile = false, begin = Date.UTC(2026, 2, 5) } = {}) {
        this.seed = seed;
        this.begin = begin; // nothing is known of the time before
        this.cycles = new Map();
        this.jobs = Array.from({ length: jobs }, (_, i) => makeJob(i, hostile));
        this.byId = new Map(this.jobs.map((job) => [job.job, job]));
    }

    /// Swings of one cycle: { f, mode, begin (s), duration, parts, jobs: Map(job id -> { scale, phase }) }
    swings(nCycle) {
        let list = this.cycles.get(nCycle);
        if (list) return list;
        const rnd = random(this.seed * 7919 + nCycle);
        const active = Math.max(2, Math.min(this.jobs.length, 40));
        list = PROFILES.filter((_, i) => i < 2 || rnd() < 0.8).map((profile, i) => {
            const f = profile.f * (0.94 + 0.12 * rnd());
            const jobs = new Map();
            const n = 1 + Math.floor(rnd() * Math.min(3, active - 1));
            for (let k = 0; k < n; k++) {
                const job = this.jobs[k === 0 && i === 0 ? 0 : Math.floor(rnd() * active)];
                if (!jobs.has(job.job)) jobs.set(job.job, { scale: k ? 0.45 + 0.4 * rnd() : 1, phase: k ? 360 * rnd() - 180 : 0 });
            }
            const begin = nCycle * CYCLE + 10 + i * 28 + rnd() * 40;
            return {
                f, jobs, begin, parts: profile.parts, from: profile.from, id: nCycle * 10 + i,
                mode: BANDS.findIndex(([, hi]) => f < hi), duration: profile.parts.reduce((s, p) => s + p[0], 0),
            };
        });
        if (this.cycles.size > 4000) this.cycles.clear();
        this.cycles.set(nCycle, list);
        return list;
    }

    *swingsAt(t, nJob) {
        const c = Math.floor(t / CYCLE);
        for (const cycle of [c - 1, c])
            for (const swing of this.swings(cycle))
                if (swing.jobs.has(nJob) && t >= swing.begin && t < swing.begin + swing.duration) yield swing;
    }

    /// Values of a mode at second t, or null while nothing is seen there.
    modeAt(job, iMode, t) {
        for (const swing of this.swingsAt(t, job.job)) {
            if (swing.mode !== iMode) continue;
            const { amplitude, damp } = profileAt(swing, t);
            const part = swing.jobs.get(job.job);
            const seed = swing.id * 31 + job.job;
            const magn = amplitude * part.scale * job.limits.magnitude_warning * (1 + 0.05 * smooth(seed, t, 5));
            if (magn < job.limits.magnitude_floor) return null;
            const ratio = damp + 0.006 * smooth(seed + 1, t, 6) + 0.002 * smooth(seed + 2, t, 1);
            return {
                frequency_Hz: swing.f * (1 + 0.008 * smooth(seed + 3, t, 7)), magnitude: magn, damping_ratio: ratio,
                exposure: exposureOf(limitsOf(job), magn, ratio), swing,
            };
        }
        return null;
    }

    valueAt(job, t) {
        let value = job.base * (1 + 0.004 * smooth(job.job, t, 60));
        for (const swing of this.swingsAt(t, job.job)) {
            const { amplitude } = profileAt(swing, t);
            const { scale, phase } = swing.jobs.get(job.job);
            const w = 2 * Math.PI * swing.f * (t - swing.begin) + (phase * Math.PI) / 180;
            value += amplitude * scale * job.limits.magnitude_warning * Math.cos(w);
        }
        return value + job.limits.magnitude_warning * 0.05 * (hash(job.job, Math.round(t * 50)) - 0.5);
    }

    /// All swing events of one cycle, in order of their beginnings; those that begin after tNow are left out, those
    /// that end after it stand.
    events(nCycle, tNow) {
        const list = [];
        for (const swing of this.swings(nCycle)) {
            for (const [nJob] of swing.jobs) {
                const event = this.eventOf(this.byId.get(nJob), swing, tNow);
                if (event) list.push(event);
            }
        }
        return list.sort((a, b) => a.begin_ms - b.begin_ms);
    }

    eventOf(job, swing, tNow) {
        const steps = [];
        let level = 0, top = null, tEnd = null;
        const first = Math.ceil(swing.begin), last = Math.min(Math.floor(swing.begin + swing.duration) + 1, tNow);
        for (let t = first; t <= last; t++) {
            const at = this.modeAt(job, swing.mode, t);
            const own = at && at.swing === swing ? at : null;
            const next = own ? levelOf(own.exposure) : 0;
            if (next !== level) {
                if (level) steps.push(stepOf(t, "DIS", level, steps.at(-1)));
                if (next) steps.push(stepOf(t, "APP", next, own));
            }
            if (level && !next) tEnd = t;
            if (!level && next && tEnd !== null) tEnd = null; // swings again: the same event goes on
            level = next;
            if (own && next && (!top || own.exposure > top.exposure_max))
                top = { ...top, exposure_max: own.exposure, frequency_Hz: own.frequency_Hz };
            if (own && next) {
                top.magnitude_max = Math.max(top.magnitude_max ?? 0, own.magnitude);
                top.damping_ratio_max = Math.max(top.damping_ratio_max ?? -1, own.damping_ratio);
            }
        }
        if (!steps.length) return null;
        const mode = job.modes[swing.mode];
        const worst = Math.max(...steps.map((s) => s.level));
        return {
            id: swing.id * 10000 + job.job, kind: "swing", job: job.job, job_name: job.name, mode: mode.mode, mode_name: mode.name,
            unit: job.unit, text: steps.find((s) => s.level === worst).text, level: level || steps.at(-1).level, level_worst: worst,
            begin_ms: steps[0].time_ms, end_ms: level ? null : tEnd * 1000, end_known: true, frequency_Hz: top.frequency_Hz,
            magnitude_max: top.magnitude_max, damping_ratio_max: top.damping_ratio_max, exposure_max: top.exposure_max,
            acknowledged: null, notes: 0, steps, swing,
        };
    }
}

export const cycleOf = (t) => Math.floor(t / CYCLE);

const NAMES = ["No", "Notified", "Distinct", "Critical", "Undamped Critical"];
function stepOf(t, transition, level, at) {
    return {
        time_ms: t * 1000, transition, level, text: `${NAMES[level]} Power Swing`, frequency_Hz: at.frequency_Hz,
        magnitude: at.magnitude, damping_ratio: at.damping_ratio, exposure: at.exposure,
    };
}

export function limitsOf(job) {
    const l = job.limits;
    return { warnMagn: l.magnitude_warning, alarmMagn: l.magnitude_alarm, warnDamp: l.damping_warning, alarmDamp: l.damping_alarm };
}

function profileAt(swing, t) {
    let rest = t - swing.begin, from = swing.from, dampBefore = swing.parts[0][1];
    for (const [duration, damp, to] of swing.parts) {
        if (rest <= duration) {
            const u = Math.min(1, rest / 6);
            return { amplitude: from * (to / from) ** (rest / duration), damp: dampBefore + (damp - dampBefore) * u };
        }
        rest -= duration;
        from = to;
        dampBefore = damp;
    }
    return { amplitude: from, damp: dampBefore };
}

function makeJob(i, bHostile) {
    const power = i % 3 !== 1;
    const a = PLACES[i % PLACES.length], b = PLACES[(i * 5 + 3 + Math.floor(i / 12)) % PLACES.length];
    const suffix = i >= 36 ? ` ${Math.floor(i / 36) + 1}` : "";
    let name = power ? `${a} – ${b} 380 kV${suffix}` : `${a} ∠ ${b}${suffix}`;
    if (bHostile) name = HOSTILE[i % HOSTILE.length];
    const warning = power ? [12e6, 25e6, 8e6, 40e6][i % 4] : [0.5, 0.8, 1.2][i % 3];
    return {
        job: 501 + i, name, instance: i % 2 ? "EAST" : "WEST", active: true, signal: power ? "active-power" : "vpad",
        unit: power ? "W" : "°", rate_Hz: 50, pass_s: 1, windows_s: [5.12, 20.48, 81.92], base: power ? warning * (4 + (i % 5)) : 9 + i % 7,
        limits: {
            magnitude_floor: 0.4 * warning, magnitude_warning: warning, magnitude_alarm: 2 * warning,
            damping_warning: -0.05, damping_alarm: -0.03,
        },
        level_min: 1,
        modes: BANDS.map(([lo, hi], k) => ({ mode: 601 + i * 10 + k, name: `${lo} to ${hi} Hz`, freq_min_Hz: lo, freq_max_Hz: hi })),
    };
}

const HOSTILE = [
    "<img src=x onerror=\"window.hacked=1\">", "<script>window.hacked=1</script>", "\"><svg onload=window.hacked=1>",
    "javascript:window.hacked=1", "‮gnirts desrever", "A".repeat(300), "{{constructor.constructor('window.hacked=1')()}}", "\u0000\u0007 bell",
];
