// A stand-in for omaview with the same interface (view/openapi.json) on the swings of model.mjs:
//   npm run mock -- --port 8097 --jobs 2000 --speed 1 --hostile --users --status waiting
// With --users one signs in as viewer or operator; the password is the name.

import { createServer } from "node:http";
import { readFile } from "node:fs/promises";
import { extname, join, normalize } from "node:path";
import { fileURLToPath } from "node:url";
import { parseArgs } from "node:util";
import { Model, cycleOf, limitsOf } from "./model.mjs";
import { exposureOf, levelOf } from "../src/level.js";

const DIST = process.env.OMA_PAGE_DIR ?? fileURLToPath(new URL("../dist/", import.meta.url));
const API = fileURLToPath(new URL("../../openapi.json", import.meta.url));
const TYPES = {
    ".html": "text/html; charset=utf-8", ".js": "text/javascript; charset=utf-8", ".css": "text/css; charset=utf-8",
    ".svg": "image/svg+xml", ".woff2": "font/woff2", ".webmanifest": "application/manifest+json",
};
const SECURITY = {
    "Content-Security-Policy":
        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; font-src 'self'; connect-src 'self'; " +
        "manifest-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'",
    "X-Content-Type-Options": "nosniff", "Referrer-Policy": "no-referrer", "Cross-Origin-Opener-Policy": "same-origin",
};

class Failure extends Error {
    constructor(nStatus, strText) {
        super(strText);
        this.status = nStatus;
    }
}

export async function startMock({ port = 0, jobs = 14, seed = 7, speed = 1, hostile = false, users = false, status = "ok",
    at = Date.UTC(2026, 2, 5, 10, 2, 10), dist = DIST } = {}) {
    const mock = new Mock({ jobs, seed, speed, hostile, users, status, at, dist });
    const server = createServer((request, response) => mock.serve(request, response));
    await new Promise((done) => server.listen(port, "127.0.0.1", done));
    mock.timer = setInterval(() => mock.publish(), 250);
    return {
        mock, url: `http://127.0.0.1:${server.address().port}/`,
        close: () => {
            clearInterval(mock.timer);
            server.closeAllConnections();
            return new Promise((done) => server.close(done));
        },
    };
}

class Mock {
    constructor(options) {
        Object.assign(this, options);
        this.model = new Model({ jobs: options.jobs, seed: options.seed, hostile: options.hostile, begin: this.at - 40 * 86400e3 });
        this.wall0 = Date.now();
        this.streams = new Set();
        this.standing = new Map();
        this.notes = new Map();
        this.acks = new Map();
        this.sessions = new Map();
        this.token = "token";
        this.statusSince = this.at;
        this.nPass = 0;
        this.last = new Map();
        this.refresh();
    }

    now() {
        return this.status === "lost" ? this.statusSince : Math.round(this.at + (Date.now() - this.wall0) * this.speed);
    }

    statusObject() {
        const texts = {
            ok: ["ok", "All samples come, all windows are full."],
            waiting: ["waiting", "The window of 82 s is full in 47 s; slow swings are not seen before."],
            fault: ["fault", "No samples since 10:02:10: the stream PMU-NORTH is silent."],
            lost: ["fault", "No connection to the server 127.0.0.1:4712 since 10:02:10."],
        };
        const [level, text] = texts[this.status];
        return { level, text, since_ms: this.statusSince };
    }

    // ---- state ----

    /// Brings the state to the newest whole second and returns which jobs have changed.
    refresh() {
        const t = Math.floor(this.now() / 1000);
        if (t === this.tState) return [];
        const first = this.tState === undefined;
        this.tState = t;
        const changed = [];
        this.states ??= new Map();
        for (const job of this.model.jobs) {
            const before = this.states.get(job.job);
            const state = this.jobState(job, t, before);
            this.states.set(job.job, state);
            if (first || state.modes.some((m, i) => m.alive || before.modes[i].alive)) changed.push(state);
        }
        this.refreshEvents(t);
        return changed;
    }

    jobState(job, t, before) {
        const blind = this.status === "waiting" || this.status === "lost";
        const modes = job.modes.map((mode, i) => {
            const at = blind ? null : this.model.modeAt(job, i, t);
            const level = at ? levelOf(at.exposure) : 0;
            const old = before?.modes[i];
            const same = old && old.level === level && old.alive === !!at;
            return {
                mode: mode.mode, level, alive: !!at, since_ms: same ? old.since_ms : at ? this.since(job, i, t, level) : null,
                time_ms: at ? t * 1000 : null, frequency_Hz: at?.frequency_Hz ?? null, magnitude: at?.magnitude ?? null,
                damping_ratio: at?.damping_ratio ?? null, exposure: at?.exposure ?? null,
                event: at && level ? at.swing.id * 10000 + job.job : null,
            };
        });
        return {
            job: job.job, level: Math.max(0, ...modes.map((m) => m.level)), value: this.model.valueAt(job, t), quality: 0,
            time_ms: t * 1000, filled_s: this.status === "waiting" ? 35 : 81.92,
            suspended: job.job % 13 === 4 && this.model.jobs.length > 3 ? "the grid is split: the two ends are no longer in one island" : null, modes,
        };
    }

    since(job, i, t, level) {
        let s = t;
        for (; s > t - 300; s--) {
            const at = this.model.modeAt(job, i, s - 1);
            if (!at || levelOf(at.exposure) !== level) break;
        }
        return s * 1000;
    }

    refreshEvents(t) {
        const standing = new Map();
        this.changed = [];
        if (this.status !== "waiting")
            for (const cycle of [cycleOf(t) - 1, cycleOf(t)])
                for (const event of this.model.events(cycle, t)) {
                    if (event.end_ms === null) standing.set(event.id, event);
                    const before = this.standing.get(event.id);
                    if (event.end_ms === null ? event.level !== before?.level || t % 2 : before) this.changed.push(this.plain(event));
                }
        this.standing = standing;
    }

    plain({ steps, swing, ...event }) {
        return { ...event, acknowledged: this.acks.get(event.id) ?? null, notes: this.notes.get(event.id)?.length ?? 0 };
    }

    snapshot() {
        this.refresh();
        const events = [...this.standing.values()].map((e) => this.plain(e)).sort((a, b) => b.level - a.level || b.exposure_max - a.exposure_max);
        return { revision: ++this.nPass, now_ms: this.now(), wall_ms: Date.now(), status: this.statusObject(), jobs: [...this.states.values()], events };
    }

    trace(nJob, tFrom, tTo) {
        const job = this.model.byId.get(nJob);
        const values = [];
        const first = Math.ceil(tFrom / 20);
        for (let k = first; k <= tTo / 20; k++) {
            const t = k / 50;
            values.push(t % 97 < 1.2 && nJob % 4 === 2 ? null : this.model.valueAt(job, t));
        }
        return { job: nJob, begin_ms: first * 20, step_ms: 20, values };
    }

    publish() {
        const changed = this.refresh();
        const now = this.now();
        const second = Math.floor(now / 1000);
        const fresh = second !== this.tPublished;
        this.tPublished = second;
        const base = {
            revision: ++this.nPass, now_ms: now, wall_ms: Date.now(), status: this.statusObject(), jobs: changed,
            values: fresh ? [...this.states.values()].map((s) => [s.job, s.value, s.quality, s.filled_s]) : [],
            events: fresh ? this.changed : [],
        };
        for (const stream of this.streams) {
            const traces = stream.trace.map((job) => this.trace(job, stream.until + 1, now));
            stream.until = now;
            stream.response.write(`event: change\ndata: ${JSON.stringify({ ...base, traces })}\n\n`);
        }
    }

    live(query, request, response) {
        const trace = (query.get("trace") ?? "").split(",").filter(Boolean).map(Number).filter((id) => this.model.byId.has(id));
        if (trace.length > 60) throw new Failure(400, "at most 60 traces");
        response.writeHead(200, { ...SECURITY, "Content-Type": "text/event-stream", "Cache-Control": "no-store" });
        const snapshot = this.snapshot();
        response.write(`event: snapshot\ndata: ${JSON.stringify(snapshot)}\n\n`);
        const stream = { response, trace, until: snapshot.now_ms - Number(query.get("trace_s") ?? 180) * 1000 };
        this.streams.add(stream);
        request.on("close", () => this.streams.delete(stream));
    }

    // ---- the past ----

    range(query, nDefault) {
        const to = Math.min(Number(query.get("to_ms") ?? this.now()), this.now());
        const from = Math.max(Number(query.get("from_ms") ?? to - nDefault), this.model.begin);
        return { from, to, points: Number(query.get("points") ?? 1000) };
    }

    course(job, iMode, from, to, points) {
        const mode = job.modes[iMode];
        const step = Math.max(1, Math.ceil((to - from) / 1000 / points));
        const resolution = step === 1 ? "pass" : step < 60 ? "bucket" : "minute";
        const out = { job: job.job, mode: mode.mode, job_name: job.name, mode_name: mode.name, unit: job.unit, resolution, time_ms: [] };
        const names = ["frequency_Hz", "magnitude", "damping_ratio", "exposure"];
        for (const n of names) Object.assign(out, { [n]: [], [`${n}_min`]: [], [`${n}_max`]: [] });
        for (let t = Math.ceil(from / 1000); t <= to / 1000; t += step) {
            out.time_ms.push(t * 1000);
            const probes = [];
            for (let k = 0; k < (step > 1 ? 4 : 1); k++) probes.push(this.model.modeAt(job, iMode, t + Math.floor((k * step) / 4)));
            const seen = this.hole(t) ? [] : probes.filter(Boolean);
            for (const n of names) {
                const list = seen.map((p) => p[n]);
                out[n].push(list.length ? list.reduce((a, b) => a + b) / list.length : null);
                if (step > 1) {
                    out[`${n}_min`].push(list.length ? Math.min(...list) : null);
                    out[`${n}_max`].push(list.length ? Math.max(...list) : null);
                }
            }
        }
        return out;
    }

    /// A hole in the past: each half-hour some 40 s without samples.
    hole(t) {
        return t % 1800 > 1260 && t % 1800 < 1300;
    }

    trends(query) {
        const { from, to, points } = this.range(query, 3600e3);
        const modes = (query.get("modes") ?? "").split(",").slice(0, 20).map((pair) => {
            const [nJob, nMode] = pair.split(":").map(Number);
            const job = this.model.byId.get(nJob);
            const i = job?.modes.findIndex((m) => m.mode === nMode) ?? -1;
            if (i < 0) throw new Failure(404, `no such mode: ${pair}`);
            return this.course(job, i, from, to, points);
        });
        const wanted = new Set(modes.map((c) => c.mode));
        const events = this.eventsBetween(from - 600e3, to, 3000).filter((e) => wanted.has(e.mode) && (e.end_ms ?? to) >= from);
        const suspended = [];
        for (let t = Math.floor(from / 1800e3) * 1800e3; t < to && suspended.length < 400; t += 1800e3)
            suspended.push({ job: null, begin_ms: t + 1260e3, end_ms: t + 1300e3, text: "no samples" });
        return { from_ms: from, to_ms: to, modes, events, suspended: suspended.filter((s) => s.end_ms > from && s.begin_ms < to) };
    }

    eventsBetween(from, to, limit) {
        const list = [];
        const now = Math.floor(this.now() / 1000);
        for (let c = cycleOf(Math.min(to / 1000, now)); c >= cycleOf(Math.max(from, this.model.begin) / 1000) && list.length < limit; c--)
            list.push(...this.model.events(c, now).reverse().filter((e) => e.begin_ms >= from && e.begin_ms <= to).map((e) => this.plain(e)));
        return list;
    }

    events(query) {
        if (this.status === "waiting") return { events: [], next: null };
        const limit = Math.min(500, Number(query.get("limit") ?? 100));
        const before = Number(query.get("before") ?? Infinity);
        const text = (query.get("text") ?? "").toLowerCase();
        const is = (name, fn) => (query.has(name) ? fn : () => true);
        const filters = [
            is("job", (e) => e.job === Number(query.get("job"))), is("mode", (e) => e.mode === Number(query.get("mode"))),
            is("level_min", (e) => e.level_worst >= Number(query.get("level_min"))), is("kind", (e) => e.kind === query.get("kind")),
            is("text", (e) => e.job_name.toLowerCase().includes(text)), is("standing", (e) => (e.end_ms === null) === (query.get("standing") === "true")),
            is("acknowledged", (e) => !!e.acknowledged === (query.get("acknowledged") === "true")),
        ];
        const to = Math.min(Number(query.get("to_ms") ?? Infinity), before - 1, this.now());
        const from = Number(query.get("from_ms") ?? this.now() - 2 * 86400e3);
        const found = this.eventsBetween(from, to, 4000).filter((e) => filters.every((fn) => fn(e)));
        found.sort((a, b) => b.begin_ms - a.begin_ms);
        const part = found.slice(0, limit);
        return { events: part, next: found.length > limit ? String(part.at(-1).begin_ms) : null };
    }

    find(id) {
        const swingId = Math.floor(id / 10000), job = this.model.byId.get(id % 10000);
        const swing = this.model.swings(Math.floor(swingId / 10)).find((s) => s.id === swingId);
        const event = job && swing?.jobs.has(job.job) && this.model.eventOf(job, swing, Math.floor(this.now() / 1000));
        if (!event) throw new Failure(404, "no such event");
        return { event, job, swing };
    }

    eventPage(id) {
        const { event, job, swing } = this.find(id);
        const from = event.begin_ms - 120e3, to = Math.min((event.end_ms ?? this.now()) + 60e3, this.now());
        const trace = this.trace(job.job, from, to);
        const neighbours = [...swing.jobs].filter(([id]) => id !== job.job).map(([nJob, part]) => {
            const other = this.model.byId.get(nJob), mode = other.modes[swing.mode];
            return {
                job: nJob, job_name: other.name, mode: mode.mode, mode_name: mode.name, unit: other.unit, frequency_Hz: swing.f,
                magnitude: part.scale * 1.4 * other.limits.magnitude_warning, phase_deg: part.phase - swing.jobs.get(job.job).phase,
            };
        }).map((n) => ({ ...n, phase_deg: ((n.phase_deg + 540) % 360) - 180 }));
        return {
            event: this.plain(event), steps: event.steps,
            values: { job: job.job, unit: job.unit, resolution: "full", time_ms: trace.values.map((_, i) => trace.begin_ms + 20 * i), mean: trace.values, min: [], max: [] },
            course: this.course(job, swing.mode, from, to, 100000), neighbours, notes: this.notes.get(id) ?? [],
        };
    }

    values(query) {
        const { from, to, points } = this.range(query, 600e3);
        const job = this.model.byId.get(Number(query.get("job")));
        if (!job) throw new Failure(404, "no such job");
        const step = Math.max(20, Math.ceil((to - from) / points / 20) * 20);
        const out = { job: job.job, unit: job.unit, resolution: step === 20 ? "full" : "bucket", time_ms: [], mean: [], min: [], max: [] };
        for (let t = from; t <= to; t += step) {
            const v = this.model.valueAt(job, t / 1000);
            out.time_ms.push(t);
            out.mean.push(v);
            if (step > 20) (out.min.push(v * 0.99), out.max.push(v * 1.01));
        }
        return out;
    }

    health() {
        const now = this.now(), up = this.status !== "lost";
        const stream = (name, late, clock) => ({ name, connected: up, samples_per_s: up ? 50 : 0, frames: Math.floor(now / 20) % 1e9, gaps: 3, invalid: 42, late, clock });
        return {
            wall_ms: Date.now(), status: this.statusObject(), version: "1.0.0",
            server: {
                address: "127.0.0.1:4712", connected: up, since_ms: this.statusSince - 7.3e6, version: "1.0.0", live: true, rate_Hz: 50,
                now_ms: now, samples_per_s: up ? 50 * this.model.jobs.length : 0, cycles: 364211, gaps: 3, invalid: 42, values_lost: 0,
                pass: { count: 7284, mean_s: 0.0031, p99_s: 0.0094, max_s: 0.021 },
            },
            streams: [stream("PMU-NORTH", 0, "locked, within 1 µs"), stream("PMU-SOUTH", 17, "locked, within 10 µs"),
                { ...stream("PMU-ISLE", 0, "not locked for 4 min"), connected: false, samples_per_s: 0 }],
            applications: [{ name: "OMA", role: "reads", since_ms: now - 7.3e6, read_sets: 2, output_channels: 0 }, { name: "OMA", role: "writes", since_ms: now - 7.3e6, read_sets: 0, output_channels: this.model.jobs.length * 13 }],
            store: { ok: true, text: "", bytes: 182e6, bytes_max: 2e9, disk_free_bytes: 83e9, rows_per_s: 3 * this.model.jobs.length, rows_waiting: 12, rows_lost: 0, oldest_ms: this.model.begin },
            receivers: [{ name: "control room", kind: "webhook", waiting: 0, sent: 211, failed: 0, text: "" }, { name: "on call", kind: "email", waiting: 3, sent: 40, failed: 2, text: "connection refused; next try in 64 s" }],
            browsers: this.streams.size,
        };
    }

    // ---- the server ----

    session(request) {
        if (!this.users) return { required: false, signed_in: true, name: "local", role: "operator", csrf_token: this.token };
        const key = /(?:^|; )omaview=(\w+)/.exec(request.headers.cookie ?? "")?.[1];
        return { required: true, signed_in: this.sessions.has(key), name: this.sessions.get(key) ?? "", role: this.sessions.get(key) ?? "none", csrf_token: this.token };
    }

    signIn(body, response) {
        if (!["viewer", "operator"].includes(body.name) || body.password !== body.name) {
            this.tries = (this.tries ?? 0) + 1;
            throw this.tries > 4 ? new Failure(429, "too many tries; wait a minute") : new Failure(401, "name or password is wrong");
        }
        const key = Math.random().toString(36).slice(2);
        this.sessions.set(key, body.name);
        response.setHeader("Set-Cookie", `omaview=${key}; HttpOnly; SameSite=Strict; Path=/`);
        return { required: true, signed_in: true, name: body.name, role: body.name, csrf_token: this.token };
    }

    note(id, text, by) {
        this.find(id);
        const list = this.notes.get(id) ?? [];
        this.notes.set(id, list);
        list.push({ id: list.length + 1, by, time_ms: this.now(), text });
        return list.at(-1);
    }

    acknowledge(id, by) {
        const { event } = this.find(id);
        if (!this.acks.has(id)) this.acks.set(id, { by, time_ms: this.now() });
        return this.plain(event);
    }

    async serve(request, response) {
        try {
            const url = new URL(request.url, "http://mock");
            if (url.pathname.startsWith("/api/v1/")) await this.api(request, response, url);
            else await this.file(url.pathname, response);
        } catch (failure) {
            const status = failure.status ?? 500;
            if (status === 500) console.error(failure);
            response.writeHead(status, { ...SECURITY, "Content-Type": "application/json" });
            response.end(JSON.stringify({ error: failure.message }));
        }
    }

    async api(request, response, url) {
        const path = url.pathname.slice(8), session = this.session(request), query = url.searchParams;
        const answer = (data) => (response.writeHead(200, { ...SECURITY, "Content-Type": "application/json", "Cache-Control": "no-store" }), response.end(JSON.stringify(data)));
        const download = (name, text) => (response.writeHead(200, { ...SECURITY, "Content-Type": "text/csv", "Content-Disposition": `attachment; filename="${name}"` }), response.end(text));
        let body = {};
        if (request.method !== "GET") {
            if (request.headers["x-csrf-token"] !== session.csrf_token) throw new Failure(403, "the token is missing");
            let text = "";
            for await (const part of request) text += part;
            body = text ? JSON.parse(text) : {};
        }
        if (path === "session") {
            if (request.method === "POST") return answer(this.signIn(body, response));
            if (request.method === "DELETE") {
                this.sessions.clear();
                return answer({ ...session, signed_in: false, name: "", role: "none" });
            }
            return answer(session);
        }
        if (!session.signed_in) throw new Failure(401, "sign in first");
        const event = /^events\/(\d+)(?:\/(notes|acknowledge))?$/.exec(path);
        if (request.method === "POST") {
            if (!event?.[2]) throw new Failure(404, "no such thing");
            if (session.role !== "operator") throw new Failure(403, "only operators may do this");
            return answer(event[2] === "notes" ? this.note(Number(event[1]), body.text, session.name) : this.acknowledge(Number(event[1]), session.name));
        }
        if (event) return answer(this.eventPage(Number(event[1])));
        if (path === "live") return this.live(query, request, response);
        if (path === "openapi.json") return answer(JSON.parse(await readFile(API, "utf8")));
        if (path.startsWith("export/")) return download(path.split("/").pop(), "time;value\n2026-03-05T10:00:00Z;1\n");
        const get = {
            jobs: () => ({ jobs: this.model.jobs.map(({ base, ...job }) => job) }), state: () => this.snapshot(), trends: () => this.trends(query),
            values: () => this.values(query), events: () => this.events(query), health: () => this.health(),
        }[path];
        if (!get) throw new Failure(404, "no such thing");
        return answer(get());
    }

    async file(path, response) {
        const name = normalize(path === "/" ? "/index.html" : path);
        let data;
        try {
            data = await readFile(join(this.dist, name));
        } catch {
            throw new Failure(404, "no such file");
        }
        response.writeHead(200, { ...SECURITY, "Content-Type": TYPES[extname(name)] ?? "application/octet-stream", "Cache-Control": "no-cache" });
        response.end(data);
    }
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
    const { values } = parseArgs({
        options: {
            port: { type: "string", default: "8097" }, jobs: { type: "string", default: "14" }, speed: { type: "string", default: "1" },
            hostile: { type: "boolean" }, users: { type: "boolean" }, status: { type: "string", default: "ok" }, at: { type: "string" },
        },
    });
    const { url } = await startMock({
        ...values, port: Number(values.port), jobs: Number(values.jobs), speed: Number(values.speed),
        at: values.at ? Date.parse(values.at) : undefined,
    });
    console.log(url);
}
