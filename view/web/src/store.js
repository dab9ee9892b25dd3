// What the page knows: configuration, newest state, tails of the last minute, traces. Filled by the live stream and
// read by the views, which are told once per message.

import { get, apiUrl, whoAmI, ApiError } from "./api.js";
import { scaleOf, band } from "./format.js";
import { Trace } from "./trace.js";

const TAIL_MS = 60_000; // of each mode's path
const LINGER_MS = 45_000; // a job whose swing has ended keeps its place for so long
const MAX_TRACES = 60;
const RETRY_MS = 2000;
const SILENT_MS = 6_000; // without a message the stream counts as lost

export class Store extends EventTarget {
    constructor() {
        super();
        this.jobs = new Map();
        this.modes = new Map(); // by "job:mode"
        this.events = new Map(); // standing ones by id
        this.status = { level: "waiting", text: "Connecting …", since_ms: null };
        this.link = "connecting"; // connecting, live, lost
        this.ready = false;
        this.clock = new DataClock();
        this.wanted = new Set();
        this.failures = 0; // of the stream, since its last message
    }

    // ---- life ----

    async start() {
        await this.loadJobs();
        this.open();
        this.watchdog ??= setInterval(() => this.checkSilence(), 1000);
    }

    stop() {
        this.source?.close();
        this.source = null;
        clearInterval(this.watchdog);
        clearTimeout(this.reopening);
        this.watchdog = null;
    }

    async loadJobs() {
        const { jobs } = await get("jobs");
        this.jobs.clear();
        this.modes.clear();
        for (const info of jobs) this.addJob(info);
    }

    addJob(info) {
        const l = info.limits;
        const job = {
            ...info,
            id: info.job,
            scale: scaleOf(info.unit, l.magnitude_warning),
            limits: {
                floor: l.magnitude_floor, warnMagn: l.magnitude_warning, alarmMagn: l.magnitude_alarm,
                warnDamp: l.damping_warning, alarmDamp: l.damping_alarm,
            },
            state: null,
            trace: new Trace(info.rate_Hz),
            tLively: null, // data time at which something was seen there last
        };
        job.modes = info.modes.map((mode) => ({
            ...mode, id: mode.mode, key: `${info.job}:${mode.mode}`, job, state: null, tail: [],
            band: band({ minHz: mode.freq_min_Hz, maxHz: mode.freq_max_Hz }),
        }));
        for (const mode of job.modes) this.modes.set(mode.key, mode);
        this.jobs.set(job.id, job);
    }

    // ---- stream ----

    open() {
        this.source?.close();
        this.traced = new Set([...this.wanted].slice(0, MAX_TRACES));
        const source = new EventSource(apiUrl("live", { trace: [...this.traced].join(","), trace_s: 180 }));
        source.addEventListener("snapshot", (event) => this.onSnapshot(JSON.parse(event.data)));
        source.addEventListener("change", (event) => this.onChange(JSON.parse(event.data)));
        source.onerror = () => this.onError(source);
        this.source = source;
        this.tOpened = performance.now();
    }

    onError(source) {
        if (source !== this.source) return;
        // Opened again here, not by the browser: it would wait for seconds, and not try again after a refusal. Only the
        // second failure in a row is told. The session may have ended meanwhile.
        source.close();
        this.failures++;
        if (this.failures > 1) this.setLink("lost");
        this.reopenSoon(this.failures > 1 ? RETRY_MS : 200, this.failures > 1);
    }

    reopenSoon(nDelay, bAsk = false) {
        clearTimeout(this.reopening);
        this.reopening = setTimeout(async () => {
            try {
                if (bAsk) await whoAmI();
                if (this.watchdog) this.open();
            } catch (failure) {
                if (!(failure instanceof ApiError)) throw failure;
                this.setLink("lost");
                this.reopenSoon(RETRY_MS, true);
            }
        }, nDelay);
    }

    checkSilence() {
        const silence = performance.now() - (this.tMessage ?? this.tOpened);
        if (this.link === "live" && silence > SILENT_MS) this.setLink("lost");
        if (this.link === "lost" && silence > 3 * SILENT_MS && performance.now() - this.tOpened > 3 * SILENT_MS) this.open();
    }

    setLink(strLink) {
        if (this.link === strLink) return;
        this.link = strLink;
        this.dispatchEvent(new Event("change"));
    }

    /// Asks for the actual values of these jobs. What is asked for already stays as it is; the stream is opened anew
    /// only when something is missing.
    wantTraces(ids) {
        this.wanted = new Set(ids);
        if (!this.source || [...this.wanted].slice(0, MAX_TRACES).every((id) => this.traced.has(id))) return;
        // At once for the first cards of a view; later ones are gathered.
        const age = performance.now() - this.tOpened;
        this.reopenSoon(this.traced.size ? Math.max(150, 2000 - age) : 20);
    }

    async onSnapshot(state) {
        if (state.jobs.some(({ job }) => !this.jobs.has(job)) || (this.ready && state.jobs.length !== this.jobs.size)) await this.loadJobs();
        this.events = new Map(state.events.map((event) => [event.id, event]));
        this.take(state);
        this.ready = true;
        this.dispatchEvent(new Event("change"));
        this.loadTails();
    }

    onChange(change) {
        for (const [id, value, quality, filled] of change.values) {
            const state = this.jobs.get(id)?.state;
            if (state) Object.assign(state, { value, quality, filled_s: filled });
        }
        for (const trace of change.traces) this.jobs.get(trace.job)?.trace.add(trace);
        for (const event of change.events) {
            if (event.end_ms === null) this.events.set(event.id, event);
            else this.events.delete(event.id);
        }
        this.take(change);
        this.dispatchEvent(new CustomEvent("change", { detail: change }));
    }

    take({ status, now_ms: tNow, jobs }) {
        this.tMessage = performance.now();
        this.link = "live";
        this.failures = 0;
        this.status = status;
        this.clock.set(tNow);
        for (const state of jobs) this.takeJob(state);
    }

    takeJob(state) {
        const job = this.jobs.get(state.job);
        if (!job) return;
        job.state = state;
        for (const own of state.modes) {
            const mode = this.modes.get(`${job.id}:${own.mode}`);
            if (!mode) continue;
            // Between the start of its channels and their first values a mode has nothing to show.
            if (own.time_ms === null || own.magnitude === null) own.alive = false;
            mode.state = own;
            if (!own.alive) mode.hole = true;
            if (!own.alive) continue;
            job.tLively = own.time_ms;
            addToTail(mode.tail, own, mode.hole);
            mode.hole = false;
        }
    }

    /// Paths of the modes that are alive, from the memory of the server: the page is not blank after a reload.
    async loadTails() {
        const keys = this.liveModes().filter((mode) => mode.tail.length < 5).slice(0, 20).map((mode) => mode.key);
        const now = this.clock.newest;
        if (!keys.length || now === null) return;
        try {
            const { modes } = await get("trends", { modes: keys.join(","), from_ms: Math.floor(now - TAIL_MS), to_ms: Math.ceil(now) });
            for (const course of modes) this.mergeTail(course);
            this.dispatchEvent(new Event("change"));
        } catch {
            // The paths then grow from now on.
        }
    }

    mergeTail(course) {
        const mode = this.modes.get(`${course.job}:${course.mode}`);
        if (!mode) return;
        const first = mode.tail[0]?.t ?? Infinity;
        const old = course.time_ms.map((t, i) => ({ t, magn: course.magnitude[i], damp: course.damping_ratio[i], exposure: course.exposure[i] }));
        mode.tail.unshift(...withHoles(old.filter((s) => s.t < first)));
    }

    // ---- questions of the views ----

    liveModes() {
        const list = [];
        for (const mode of this.modes.values()) if (mode.state?.alive && mode.state.exposure !== null) list.push(mode);
        return list.sort((a, b) => b.state.exposure - a.state.exposure);
    }

    worstEvent() {
        let worst = null;
        for (const event of this.events.values()) {
            if (event.kind !== "swing") continue;
            if (!worst || event.level > worst.level || (event.level === worst.level && event.exposure_max > worst.exposure_max)) worst = event;
        }
        return worst;
    }

    /// Whether the job has something to show: a mode that is alive, or one that was until a moment ago.
    isLively(job) {
        const now = this.clock.newest ?? 0;
        return (job.state?.modes.some((m) => m.alive) ?? false) || (job.tLively !== null && now - job.tLively < LINGER_MS);
    }
}

/// Without the passes that saw nothing (magnitude null); the first one after such carries the mark "hole".
export function withHoles(samples) {
    let hole = false;
    return samples.filter((s) => {
        if (s.magn === null) return !(hole = true);
        if (hole) s.hole = true;
        hole = false;
        return true;
    });
}

function addToTail(tail, { time_ms: t, magnitude: magn, damping_ratio: damp, exposure }, bHole) {
    const last = tail.at(-1);
    if (last && t < last.t) tail.length = 0; // the data have begun anew
    if (last && t === last.t) return;
    tail.push({ t, magn, damp, exposure, hole: bHole });
    while (tail.length && t - tail[0].t > TAIL_MS) tail.shift();
}

/// The time of the data between two messages. A recording may run faster than the wall clock, so its pace is measured.
class DataClock {
    constructor() {
        this.newest = null;
        this.pace = 1; // ms of data for one of the wall
        this.marks = [];
    }

    set(tData) {
        if (tData === null) return;
        const p = performance.now();
        if (this.newest !== null && (tData < this.newest || tData - this.newest > 600_000)) this.marks = [];
        this.newest = tData;
        this.marks.push([p, tData]);
        while (this.marks.length > 2 && p - this.marks[0][0] > 4000) this.marks.shift();
        const [p0, t0] = this.marks[0];
        if (p - p0 > 400) this.pace = (tData - t0) / (p - p0);
    }

    /// For pictures that glide: a little after the newest data, never ahead of them.
    smooth() {
        if (this.newest === null) return null;
        const [p, t] = this.marks.at(-1);
        const lag = 350 * this.pace;
        return Math.min(t, t - lag + (performance.now() - p) * this.pace);
    }
}
