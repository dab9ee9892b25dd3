// Now: the worst event that stands, one card for each job that is not quiet, everything else folded into one line.

import { h, arrange, setText, setAttr } from "../dom.js";
import { choice, empty, icon, levelMark } from "../parts.js";
import { onFrame } from "../frame.js";
import { onTheme } from "../palette.js";
import { LEVELS } from "../level.js";
import * as format from "../format.js";
import { JobCard } from "./card.js";
import { LatestEvents } from "./latest.js";
import { QuietList } from "./quiet.js";

const ALL_AS_CARDS = 8; // a page of so few jobs shows the quiet ones as cards, too
const MAX_CARDS = 60; // as many as the stream carries traces of
const ORDER_MS = 2000; // cards change places no more often

export function nowView({ store, replaceQuery }, query) {
    const cards = new Map();
    let filter = query.get("filter") ?? "";
    let order = query.get("order") === "name" ? "name" : "severity";
    let tOrdered = 0;
    let ordered = [];

    const banner = new Banner(store);
    const search = h("input", { type: "search", placeholder: "Filter by name", "aria-label": "Filter jobs by name", value: filter, oninput: () => changed(search.value, order) });
    const orders = choice("Order", [["severity", "By severity"], ["name", "By name"]], order, (value) => changed(filter, value));
    const countText = h("span", { class: "muted count" });
    const grid = h("div", { class: "cards" });
    const more = h("p", { class: "muted", hidden: true });
    const quiet = new QuietList(store);
    const latest = new LatestEvents(store);
    const nothing = h("div", {});
    const element = h("div", { class: "view now" },
        h("h1", { class: "unseen" }, "Now"), banner.element,
        h("div", { class: "bar" }, h("label", { class: "search" }, icon("search", 16), search), orders.element, countText),
        nothing, grid, more, quiet.element, latest.element);

    function changed(strFilter, strOrder) {
        filter = strFilter.trim();
        order = strOrder;
        tOrdered = 0;
        replaceQuery({ filter, order: order === "name" ? order : "" });
        update();
    }

    function update() {
        if (!store.ready) {
            nothing.replaceChildren(empty("Connecting …", "The page asks omaview for the state of the grid."));
            return;
        }
        banner.update();
        const needle = filter.toLowerCase();
        const lively = [], calm = [];
        const few = store.jobs.size <= ALL_AS_CARDS;
        for (const job of store.jobs.values()) {
            if (needle && !job.name.toLowerCase().includes(needle)) continue;
            (few || store.isLively(job) ? lively : calm).push(job);
        }
        showCards(lively);
        quiet.update(calm);
        latest.update();
        const total = store.jobs.size;
        setText(countText, needle ? `${format.count(lively.length + calm.length)} of ${format.count(total)} jobs` : `${format.count(total)} job${total === 1 ? "" : "s"}`);
        showNothing(lively, calm, needle);
    }

    function showCards(lively) {
        const now = performance.now();
        const same = ordered.length === lively.length && ordered.every((job) => lively.includes(job));
        const held = grid.matches(":hover") || grid.contains(document.activeElement);
        if (!same || (now - tOrdered > ORDER_MS && !held)) {
            tOrdered = now;
            ordered = sort(lively, order);
            const shown = ordered.slice(0, MAX_CARDS);
            for (const [id, card] of cards)
                if (!shown.some((job) => job.id === id)) {
                    card.destroy();
                    cards.delete(id);
                }
            for (const job of shown) if (!cards.has(job.id)) cards.set(job.id, new JobCard(store, job));
            arrange(grid, shown.map((job) => cards.get(job.id).element));
            store.wantTraces(shown.map((job) => job.id));
            more.hidden = ordered.length <= MAX_CARDS;
            setText(more, `${ordered.length - MAX_CARDS} more jobs swing; the filter shows them.`);
        }
        for (const card of cards.values()) card.update();
    }

    let strNothing = "connecting";
    function showNothing(lively, calm, needle) {
        let title = "", text = "";
        if (!store.jobs.size) [title, text] = ["No job is configured", "The configuration that omaview reads has no active job."];
        else if (needle && !lively.length && !calm.length) [title, text] = [`No job has “${filter}” in its name`, "Clear the filter to see all jobs."];
        if (title + text === strNothing) return;
        strNothing = title + text;
        nothing.replaceChildren(...(title ? [empty(title, text)] : []));
    }

    const stop = onFrame(() => {
        const t = store.clock.smooth();
        if (t !== null) for (const card of cards.values()) card.frame(t);
    });
    const unTheme = onTheme(() => {
        for (const card of cards.values()) card.redraw();
    });
    return {
        element, update, title: "Now",
        destroy() {
            stop();
            unTheme();
            quiet.destroy();
            for (const card of cards.values()) card.destroy();
        },
    };
}

function sort(jobs, strOrder) {
    const byName = (a, b) => a.name.localeCompare(b.name, undefined, { numeric: true });
    if (strOrder === "name") return [...jobs].sort(byName);
    const rank = (job) => [job.state?.level ?? 0, Math.max(-1, ...job.modes.map((m) => (m.state?.alive ? m.state.exposure ?? 0 : -1)))];
    const ranks = new Map(jobs.map((job) => [job, rank(job)]));
    return [...jobs].sort((a, b) => {
        const [la, ea] = ranks.get(a), [lb, eb] = ranks.get(b);
        return lb - la || Math.round(eb) - Math.round(ea) || byName(a, b);
    });
}

/// The worst event that stands, or in one sentence why there is none.
class Banner {
    constructor(store) {
        this.store = store;
        this.mark = levelMark(28);
        this.where = h("span", { class: "banner-where" });
        this.facts = h("dl", { class: "banner-facts" });
        this.link = h("a", { class: "button solid" }, "Open event");
        this.sentence = h("p", { class: "banner-sentence" });
        this.others = h("p", { class: "banner-others" });
        this.fact = Object.fromEntries(["Standing", "Frequency", "Magnitude", "Damping ratio", "Exposure"].map((name) => {
            const value = h("dd", {});
            this.facts.append(h("div", {}, h("dt", {}, name), value));
            return [name, value];
        }));
        this.element = h("section", { class: "banner", "aria-label": "Worst standing event" },
            h("div", { class: "banner-head" }, h("p", { class: "banner-title" }, this.mark.element, this.where), this.sentence, this.others), this.facts, this.link);
    }

    update() {
        const { store } = this;
        const event = store.worstEvent();
        const calm = !event;
        this.facts.hidden = this.link.hidden = calm;
        setAttr(this.element, "class", `banner lv-wash${event?.level ?? 0}${calm && store.status.level !== "ok" ? " not-ok" : ""}`);
        if (calm) this.showCalm();
        else this.showEvent(event);
    }

    showCalm() {
        const { status } = this.store;
        const ok = status.level === "ok";
        this.mark.set(0, ok ? "No power swing stands" : status.level === "waiting" ? "Not all can be seen yet" : "Swings cannot be seen");
        setText(this.where, "");
        setText(this.sentence, status.text);
        setText(this.others, "");
    }

    showEvent(event) {
        const { store, fact } = this;
        const job = store.jobs.get(event.job);
        const mode = store.modes.get(`${event.job}:${event.mode}`);
        const s = mode?.state?.alive ? mode.state : null;
        this.mark.set(event.level, LEVELS[event.level].name);
        setText(this.where, event.job_name);
        setText(this.sentence, mode ? mode.band : event.mode_name);
        setText(fact.Standing, format.span((store.clock.newest - event.begin_ms) / 1000));
        setText(fact.Frequency, `${format.frequency(s?.frequency_Hz ?? event.frequency_Hz)} Hz`);
        setText(fact.Magnitude, job ? format.magnitude(job.scale, s?.magnitude ?? event.magnitude_max) : format.NONE);
        setText(fact["Damping ratio"], format.damping(s?.damping_ratio ?? event.damping_ratio_max));
        setText(fact.Exposure, format.exposure(s?.exposure ?? event.exposure_max));
        setAttr(this.link, "href", `#/events/${event.id}`);
        const others = [...store.events.values()].filter((e) => e.kind === "swing").length - 1;
        setText(this.others, others > 0 ? `and ${format.count(others)} other event${others > 1 ? "s" : ""} standing` : "");
        if (store.status.level === "fault") setText(this.others, store.status.text);
    }
}
