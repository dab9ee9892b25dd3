// The jobs that are quiet: one line that says how many there are; unfolded, a list of which only what is seen exists.

import { h, arrange, setText, setAttr } from "../dom.js";
import { icon } from "../parts.js";
import * as format from "../format.js";

const ROW = 36; // px

export class QuietList {
    constructor(store) {
        this.store = store;
        this.jobs = [];
        this.rows = [];
        this.open = false;
        this.text = h("span", { class: "fold-text" });
        this.button = h("button", { type: "button", class: "fold", "aria-expanded": "false", onclick: () => this.toggle() }, icon("next", 18), this.text);
        this.space = h("div", { class: "virtual-space" });
        this.list = h("div", { class: "virtual", role: "list", tabindex: "0", "aria-label": "Quiet jobs", hidden: true, onscroll: () => this.draw() }, this.space);
        this.element = h("section", { class: "quiet", hidden: true, "aria-label": "Quiet jobs" }, this.button, this.list);
        this.sizes = new ResizeObserver(() => this.draw());
        this.sizes.observe(this.list);
    }

    toggle() {
        this.open = !this.open;
        setAttr(this.button, "aria-expanded", String(this.open));
        this.list.hidden = !this.open;
        this.update(this.jobs, true);
    }

    update(jobs, bSort = false) {
        const changed = bSort || jobs.length !== this.jobs.length || jobs.some((job, i) => job !== this.source?.[i]);
        this.source = jobs;
        this.element.hidden = !jobs.length;
        let suspended = 0, filling = 0, silent = 0;
        for (const { state, windows_s } of jobs) {
            if (state?.suspended) suspended++;
            else if (!state || state.value === null || state.quality === 2) silent++;
            else if (state.filled_s < windows_s.at(-1) - 0.5) filling++;
        }
        const notes = [suspended && `${format.count(suspended)} suspended`, silent && `${format.count(silent)} without a valid value`, filling && `${format.count(filling)} with windows not full yet`].filter(Boolean);
        setText(this.text, `${format.count(jobs.length)} ${jobs.length === 1 ? "job is" : "jobs are"} quiet${notes.length ? `; of these ${notes.join(", ")}` : ""}`);
        if (changed) this.jobs = this.open ? [...jobs].sort((a, b) => a.name.localeCompare(b.name, undefined, { numeric: true })) : jobs;
        if (this.open) this.draw();
    }

    /// Fills the rows that are seen.
    draw() {
        if (!this.open) return;
        this.space.style.height = `${this.jobs.length * ROW}px`;
        const first = Math.max(0, Math.floor(this.list.scrollTop / ROW) - 4);
        const count = Math.min(this.jobs.length - first, Math.ceil(this.list.clientHeight / ROW) + 8);
        while (this.rows.length < count) this.rows.push(makeRow());
        this.rows.length = Math.max(0, count);
        arrange(this.space, this.rows.map((row) => row.element));
        this.rows.forEach((row, i) => fillRow(row, this.jobs[first + i], first + i, this.jobs.length));
    }

    destroy() {
        this.sizes.disconnect();
    }
}

function makeRow() {
    const name = h("a", { class: "quiet-name" });
    const value = h("span", { class: "num" });
    const note = h("span", { class: "muted" });
    return { name, value, note, element: h("div", { class: "quiet-row", role: "listitem" }, name, value, note) };
}

function fillRow(row, job, nIndex, nTotal) {
    row.element.style.transform = `translateY(${nIndex * ROW}px)`;
    setAttr(row.element, "aria-setsize", String(nTotal));
    setAttr(row.element, "aria-posinset", String(nIndex + 1));
    setAttr(row.name, "href", `#/trends?modes=${job.modes.map((mode) => mode.key).join(",")}`);
    setText(row.name, job.name);
    const { state } = job;
    setText(row.value, state?.quality === 2 ? "invalid" : format.magnitude(job.scale, state?.value));
    const longest = job.windows_s.at(-1);
    const filling = state && state.filled_s < longest - 0.5;
    setText(row.note, state?.suspended ? `suspended: ${state.suspended}` : filling ? `window full in ${Math.ceil(longest - state.filled_s)} s` : "");
}
