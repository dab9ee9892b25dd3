// Export: what can be taken away, and from where.

import { h, setText } from "../dom.js";
import { fetchButton, icon } from "../parts.js";
import * as format from "../format.js";
import { ModePicker } from "./picker.js";

const SPANS = [["600", "last 10 minutes"], ["3600", "last hour"], ["86400", "last 24 hours"], ["604800", "last 7 days"], ["2592000", "last 30 days"], ["", "from … to …"]];

export function exportView({ store }) {
    let keys = [];
    let strJobs = "";
    const span = h("select", { "aria-label": "Time", onchange: () => update() }, SPANS.map(([value, text]) => h("option", { value }, text)));
    span.value = "3600";
    const from = h("input", { type: "datetime-local", step: 1, "aria-label": "From" }), to = h("input", { type: "datetime-local", step: 1, "aria-label": "To" });
    const own = h("span", { class: "group wrap", hidden: true }, from, h("span", { class: "muted" }, "to"), to);
    const points = h("select", { "aria-label": "Points" }, [["1000", "about 1,000 points"], ["5000", "about 5,000 points"]].map(([value, text]) => h("option", { value }, text)));
    const job = h("select", { "aria-label": "Job" });
    const picker = new ModePicker(store, 20, (list) => (keys = list, update()));
    const chosen = h("p", { class: "muted" });
    const message = h("p", { class: "form-message", role: "status" });

    function range() {
        if (span.value) {
            const now = store.clock.newest ?? Date.now();
            return { from_ms: Math.floor(now - Number(span.value) * 1000), to_ms: Math.ceil(now) };
        }
        return { from_ms: format.fromInput(from.value), to_ms: format.fromInput(to.value) };
    }

    function say(strText) {
        setText(message, strText);
        return null;
    }

    function take(strWhat, query) {
        const { from_ms: tFrom, to_ms: tTo } = range();
        if (!(tTo > tFrom)) return say("Give a beginning and an end, the end after the beginning.");
        setText(message, "");
        return [`export/${strWhat}.csv`, { ...query, from_ms: tFrom, to_ms: tTo }];
    }

    function takeModes() {
        if (!keys.length) return say("Choose at least one mode.");
        return take("trends", { modes: keys.join(","), points: points.value });
    }

    const card = (strTitle, strText, ...controls) => h("section", { class: "panel" }, h("h2", {}, strTitle), h("p", { class: "muted" }, strText), h("div", { class: "bar" }, controls));
    const element = h("div", { class: "view export" }, h("div", { class: "view-head" }, h("h1", {}, "Export")),
        h("section", { class: "panel" }, h("div", { class: "bar" }, h("label", { class: "field" }, "Time", span), own, h("label", { class: "field" }, "Detail", points), message)),
        h("div", { class: "export-grid" },
            card("Events", "One line an event: begin, end, worst level, extremes, job, mode, acknowledgement.", fetchButton("Events CSV", () => take("events", {}), { kind: "solid" })),
            card("Actual value", "The measured value of one job, as dense as the detail allows.", h("label", { class: "field" }, h("span", { class: "unseen" }, "Job"), job),
                fetchButton("Values CSV", () => take("values", { job: job.value, points: points.value }), { kind: "solid" })),
            h("section", { class: "panel" }, h("h2", {}, "Courses of modes"), h("p", { class: "muted" }, "Frequency, magnitude, damping ratio and exposure of up to twenty modes."),
                h("div", { class: "bar" }, picker.button, fetchButton("Courses CSV", takeModes, { kind: "solid" })), chosen, picker.element),
            card("Record of an event", "Its actual values at full rate and the mode's course, as CSV or COMTRADE: on the page of the event.", h("a", { class: "button", href: "#/events" }, icon("events", 16), "To the events")),
            card("Pictures", "Exposure, trends and events save themselves as PNG, with the buttons beside the picture.", h("a", { class: "button", href: "#/exposure" }, icon("exposure", 16), "Exposure"), h("a", { class: "button", href: "#/trends" }, icon("trends", 16), "Trends")),
            card("For machines", "The same data by HTTP, described for programs; figures for monitoring.", h("a", { class: "button", href: "api/v1/openapi.json" }, "OpenAPI"), h("a", { class: "button", href: "metrics" }, "Metrics"))));

    function update() {
        if (!store.ready) return;
        own.hidden = span.value !== "";
        const shape = [...store.jobs.keys()].join();
        if (shape !== strJobs) {
            strJobs = shape;
            const jobs = [...store.jobs.values()].sort((a, b) => a.name.localeCompare(b.name, undefined, { numeric: true }));
            job.replaceChildren(...jobs.map((j) => h("option", { value: j.id }, j.name)));
        }
        picker.set(keys);
        setText(chosen, keys.length ? `${keys.length} mode${keys.length > 1 ? "s" : ""} chosen` : "");
    }

    store.wantTraces([]);
    return { element, update, title: "Export" };
}
