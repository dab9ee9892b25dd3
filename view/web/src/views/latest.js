// The newest events that have ended, below what swings now.

import { h } from "../dom.js";
import { level } from "../parts.js";
import { get } from "../api.js";
import * as format from "../format.js";

const COUNT = 5;
const PERIOD = 20_000; // ms

export class LatestEvents {
    constructor(store) {
        this.store = store;
        this.tAsked = -PERIOD;
        this.list = h("ul", { class: "latest-list" });
        this.element = h("section", { class: "panel latest", "aria-label": "Latest events", hidden: true },
            h("div", { class: "panel-head" }, h("h2", {}, "Latest events that have ended"), h("a", { href: "#/events" }, "All events")), this.list);
    }

    async update() {
        if (performance.now() - this.tAsked < PERIOD) return;
        this.tAsked = performance.now();
        try {
            const { events } = await get("events", { kind: "swing", standing: "false", limit: COUNT });
            this.draw(events);
        } catch {
            // The next try comes by itself.
        }
    }

    draw(events) {
        this.element.hidden = !events.length;
        const now = this.store.clock.newest;
        this.list.replaceChildren(...events.map((e) => {
            const mode = this.store.modes.get(`${e.job}:${e.mode}`);
            return h("li", {}, h("a", { href: `#/events/${e.id}` }, level(e.level_worst), h("span", { class: "latest-name" }, e.job_name),
                h("span", { class: "muted latest-band" }, mode?.band ?? e.mode_name), h("span", { class: "num muted latest-span" }, format.span((e.end_ms - e.begin_ms) / 1000)),
                h("span", { class: "num muted" }, format.shortTime(e.begin_ms, now))));
        }));
    }
}
