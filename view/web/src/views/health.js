// Health: in one sentence why nothing is shown, when nothing is; then the figures behind it.

import { h, setText, setAttr } from "../dom.js";
import { empty } from "../parts.js";
import { get } from "../api.js";
import * as format from "../format.js";

const PERIOD = 2000; // ms
const MAX_JOBS = 40;

export function healthView({ store }) {
    let health = null;
    let tAsked = -PERIOD;
    let loading = false;

    const sentence = h("p", { class: "health-text" });
    const since = h("p", { class: "muted" });
    const shape = h("span", { class: "health-shape", "aria-hidden": "true" });
    const head = h("section", { class: "panel health-head", "aria-live": "polite" }, shape, h("div", {}, sentence, since));
    const server = h("dl", { class: "health-facts" }), store_ = h("dl", { class: "health-facts" });
    const storeBar = h("div", { class: "meter", role: "img" }, h("i", {}));
    const streams = new LiveTable("Streams", ["Stream", "State", "Samples a second", "Frames", "Gaps", "Invalid", "Late", "Clock"], [0, 1, 7]);
    const applications = new LiveTable("Applications", ["Application", "Since", "Reads", "Channels"], [0, 1]);
    const receivers = new LiveTable("Receivers of notices", ["Receiver", "Kind", "Waiting", "Sent", "Failed", "Last fault"], [0, 1, 5]);
    const windows = new LiveTable("Windows of the jobs", ["Job", "Windows", "State"], [0, 1, 2]);
    const fault = h("div", {});
    const panel = (strTitle, strClass, ...children) => h("section", { class: `panel ${strClass}` }, h("h2", { class: "panel-title" }, strTitle), ...children);
    const element = h("div", { class: "view health" }, h("h1", { class: "unseen" }, "Health"), head, fault,
        h("div", { class: "health-grid" }, panel("Server and samples", "", server), panel("Memory", "", store_, storeBar),
            panel("Streams", "wide", streams.element), panel("Fill of the windows", "wide", windows.element), panel("Notices", "", receivers.element), panel("Applications", "", applications.element)));

    async function load() {
        if (loading) return;
        loading = true;
        tAsked = performance.now();
        try {
            health = await get("health");
            fault.replaceChildren();
            draw();
        } catch (failure) {
            fault.replaceChildren(empty("The figures could not be had", failure.message));
        } finally {
            loading = false;
        }
    }

    function drawHead() {
        const lost = store.link === "lost";
        const status = lost ? { level: "fault", text: "This page has no connection to omaview; nothing below is new.", since_ms: null } : store.status;
        setText(sentence, status.text);
        setText(since, status.since_ms === null ? "" : `since ${format.dateTime(status.since_ms)} ${format.zoneName()}`);
        setAttr(head, "class", `panel health-head ${status.level}`);
    }

    function draw() {
        const s = health.server;
        facts(server, [
            ["Connection", s.connected ? `${s.address}, since ${format.dateTime(s.since_ms)}` : `${s.address}: none`],
            ["Source", !s.connected ? format.NONE : s.live ? "live" : "recording or scenario"], ["Time of the data", format.dateTime(s.now_ms)],
            ["Rate", `${format.fixed(s.rate_Hz, s.rate_Hz % 1 ? 1 : 0)} Hz`], ["Samples a second", format.count(s.samples_per_s)], ["Cycles", format.count(s.cycles)], ["Gaps", format.count(s.gaps)],
            ["Invalid samples", format.count(s.invalid)], ["Values lost here", format.count(s.values_lost)],
            ["Time of a pass", s.pass.count ? `${ms(s.pass.mean_s)} mean, ${ms(s.pass.p99_s)} for 99 %, ${ms(s.pass.max_s)} at most` : "none yet"],
            ["Versions", `server ${s.version || "unknown"}, omaview ${health.version}`], ["Open pages", format.count(health.browsers)],
        ]);
        const m = health.store;
        facts(store_, [
            ["State", m.ok ? "in order" : m.text || "not in order"], ["Size", `${format.bytes(m.bytes)} of ${format.bytes(m.bytes_max)}`], ["Free on the disk", format.bytes(m.disk_free_bytes)],
            ["Rows a second", format.count(m.rows_per_s)], ["Rows waiting", format.count(m.rows_waiting)], ["Rows lost", format.count(m.rows_lost)], ["Oldest entry", format.dateTime(m.oldest_ms)],
        ]);
        const part = m.bytes_max ? Math.min(1, m.bytes / m.bytes_max) : 0;
        storeBar.firstChild.style.width = `${(100 * part).toFixed(1)}%`;
        setAttr(storeBar, "aria-label", `${Math.round(part * 100)} % of the size that is allowed`);
        drawStreams();
        drawReceivers();
        drawApplications();
    }

    function drawStreams() {
        const list = health.streams;
        const none = !health.server.connected ? "Unknown without a connection to the server."
            : health.server.live ? "The server reads no streams of synchrophasors." : "The server plays a recording or a scenario: there are no streams.";
        streams.show(list.map((s) => [
            s.name, state(s.connected, s.connected ? "connected" : "silent"), format.fixed(s.samples_per_s, 1), format.count(s.frames), format.count(s.gaps), format.count(s.invalid), format.count(s.late), s.clock,
        ]), list.length ? "" : none);
    }

    function drawReceivers() {
        const list = health.receivers;
        receivers.show(list.map((r) => [r.name, r.kind, format.count(r.waiting), format.count(r.sent), format.count(r.failed), r.text || "none"]),
            list.length ? "" : "No receiver of notices is configured.");
    }

    function drawApplications() {
        const list = health.applications;
        const none = health.server.connected ? "No application is connected to the server: nobody looks for swings." : "Unknown without a connection to the server.";
        applications.show(list.map((a) => [a.name, format.dateTime(a.since_ms), format.count(a.read_sets), format.count(a.output_channels)]), list.length ? "" : none);
    }

    /// The windows that are not full, least first; all of them in one line when they are.
    function drawWindows() {
        const list = [...store.jobs.values()].filter((job) => job.state);
        const filling = list.filter((job) => job.state.filled_s < job.windows_s.at(-1) - 0.5 || job.state.suspended);
        filling.sort((a, b) => a.state.filled_s / a.windows_s.at(-1) - b.state.filled_s / b.windows_s.at(-1));
        const rows = filling.slice(0, MAX_JOBS).map((job) => [job.name, bars(job), job.state.suspended ? `suspended: ${job.state.suspended}` : fillText(job)]);
        windows.show(rows, windowsSentence(list.length, filling.length));
    }

    function update() {
        if (!store.ready) return setText(sentence, "Connecting …");
        drawHead();
        if (performance.now() - tAsked >= PERIOD) {
            load();
            drawWindows();
        }
    }

    store.wantTraces([]);
    return { element, update, title: "Health" };
}

function windowsSentence(nJobs, nFilling) {
    if (!nJobs) return "No job is configured.";
    if (!nFilling) return `All windows of ${nJobs === 1 ? "the job" : `all ${format.count(nJobs)} jobs`} are full: swings of all frequencies can be seen.`;
    return nFilling > MAX_JOBS ? `${format.count(nFilling)} jobs do not see all frequencies yet; the ${MAX_JOBS} that see least:` : "";
}

function fillText(job) {
    const longest = job.windows_s.at(-1);
    return `the window of ${Math.round(longest)} s is full in ${Math.ceil(longest - job.state.filled_s)} s`;
}

function bars(job) {
    return h("span", { class: "fill-bars" }, job.windows_s.map((length) => {
        const part = Math.min(1, job.state.filled_s / length);
        const fill = h("i", { class: part >= 1 ? "full" : "" });
        fill.style.width = `${(100 * part).toFixed(0)}%`;
        return h("span", { class: "fill-bar", title: `${Math.round(length)} s: ${Math.round(100 * part)} %` }, fill, h("span", { class: "fill-name num" }, `${length < 10 ? format.fixed(length, 1) : Math.round(length)} s`));
    }));
}

function facts(list, rows) {
    while (list.children.length < rows.length) list.append(h("div", {}, h("dt", {}), h("dd", { class: "num" })));
    rows.forEach(([name, value], i) => {
        setText(list.children[i].children[0], name);
        setText(list.children[i].children[1], value);
    });
}

/// A table whose cells change in place, so that it keeps its scroll position and focus; or a sentence instead.
class LiveTable {
    constructor(strLabel, names, left) {
        this.left = left;
        this.body = h("tbody", {});
        this.sentence = h("p", { class: "muted" });
        this.hold = h("div", { class: "table-hold", role: "group", "aria-label": strLabel, tabindex: 0 }, h("table", { class: "plain-table" },
            h("thead", {}, h("tr", {}, names.map((name, i) => h("th", { scope: "col", class: left.includes(i) ? "" : "right" }, name)))), this.body));
        this.element = h("div", {}, this.sentence, this.hold);
    }

    /// Cells are texts or elements.
    show(rows, strSentence = "") {
        this.hold.hidden = !rows.length;
        this.sentence.hidden = !strSentence;
        setText(this.sentence, strSentence);
        while (this.body.children.length > rows.length) this.body.lastChild.remove();
        rows.forEach((row, r) => {
            const line = this.body.children[r] ?? this.body.appendChild(this.makeLine(row.length));
            row.forEach((value, c) => (value instanceof Node ? line.children[c].replaceChildren(value) : setText(line.children[c], value)));
        });
    }

    makeLine(nCells) {
        return h("tr", {}, Array.from({ length: nCells }, (_, i) => (i === 0 ? h("th", { scope: "row" }) : h("td", { class: `num ${this.left.includes(i) ? "left" : ""}` }))));
    }
}

const state = (bOk, strText) => h("span", { class: `state ${bOk ? "ok" : "fault"}` }, h("i", { class: "dot", "aria-hidden": "true" }), strText);
const ms = (s) => `${format.fixed(s * 1000, s < 0.01 ? 1 : 0)} ms`;
