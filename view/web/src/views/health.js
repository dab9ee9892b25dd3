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
    const streams = h("div", {}), applications = h("div", {}), receivers = h("div", {}), windows = h("div", {});
    const fault = h("div", {});
    const panel = (strTitle, strClass, ...children) => h("section", { class: `panel ${strClass}` }, h("h2", { class: "panel-title" }, strTitle), ...children);
    const element = h("div", { class: "view health" }, h("h1", { class: "unseen" }, "Health"), head, fault,
        h("div", { class: "health-grid" }, panel("Server and samples", "", server), panel("Memory", "", store_, storeBar),
            panel("Streams", "wide", streams), panel("Fill of the windows", "wide", windows), panel("Notices", "", receivers), panel("Applications", "", applications)));

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
        if (!list.length) return streams.replaceChildren(h("p", { class: "muted" }, health.server.live ? "The server reads no streams of synchrophasors." : "The server plays a recording or a scenario: there are no streams."));
        streams.replaceChildren(table(["Stream", "State", "Samples a second", "Frames", "Gaps", "Invalid", "Late", "Clock"], list.map((s) => [
            s.name, state(s.connected, s.connected ? "connected" : "silent"), format.fixed(s.samples_per_s, 1), format.count(s.frames), format.count(s.gaps), format.count(s.invalid), format.count(s.late), s.clock,
        ]), [0, 1, 7]));
    }

    function drawReceivers() {
        const list = health.receivers;
        if (!list.length) return receivers.replaceChildren(h("p", { class: "muted" }, "No receiver of notices is configured."));
        receivers.replaceChildren(table(["Receiver", "Kind", "Waiting", "Sent", "Failed", "Last fault"], list.map((r) => [r.name, r.kind, format.count(r.waiting), format.count(r.sent), format.count(r.failed), r.text || "none"]), [0, 1, 5]));
    }

    function drawApplications() {
        const list = health.applications;
        if (!list.length) return applications.replaceChildren(h("p", { class: "muted" }, "No application is connected to the server: nobody looks for swings."));
        applications.replaceChildren(table(["Application", "Since", "Reads", "Channels"], list.map((a) => [a.name, format.dateTime(a.since_ms), format.count(a.read_sets), format.count(a.output_channels)]), [0, 1]));
    }

    /// The windows that are not full, least first; all of them in one line when they are.
    function drawWindows() {
        const list = [...store.jobs.values()].filter((job) => job.state);
        const filling = list.filter((job) => job.state.filled_s < job.windows_s.at(-1) - 0.5 || job.state.suspended);
        if (!list.length) return windows.replaceChildren(h("p", { class: "muted" }, "No job is configured."));
        if (!filling.length) return windows.replaceChildren(h("p", { class: "muted" }, `All windows of ${list.length === 1 ? "the job are" : `all ${format.count(list.length)} jobs are`} full: swings of all frequencies can be seen.`));
        filling.sort((a, b) => a.state.filled_s / a.windows_s.at(-1) - b.state.filled_s / b.windows_s.at(-1));
        const rows = filling.slice(0, MAX_JOBS).map((job) => [job.name, bars(job), job.state.suspended ? `suspended: ${job.state.suspended}` : fillText(job)]);
        windows.replaceChildren(table(["Job", "Windows", "State"], rows, [0, 1, 2]),
            filling.length > MAX_JOBS ? h("p", { class: "muted" }, `and ${format.count(filling.length - MAX_JOBS)} more jobs`) : "");
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

function table(names, rows, left) {
    return h("div", { class: "table-hold" }, h("table", { class: "plain-table" },
        h("thead", {}, h("tr", {}, names.map((name, i) => h("th", { scope: "col", class: left.includes(i) ? "" : "right" }, name)))),
        h("tbody", {}, rows.map((row) => h("tr", {}, row.map((value, i) => (i === 0 ? h("th", { scope: "row" }, value) : h("td", { class: `num ${left.includes(i) ? "left" : ""}` }, value))))))));
}

const state = (bOk, strText) => h("span", { class: `state ${bOk ? "ok" : "fault"}` }, h("i", { class: "dot", "aria-hidden": "true" }), strText);
const ms = (s) => `${format.fixed(s * 1000, s < 0.01 ? 1 : 0)} ms`;
