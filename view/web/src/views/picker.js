// Choice of modes out of many, by name.

import { h, setAttr } from "../dom.js";
import { icon } from "../parts.js";

const MAX_ROWS = 60;

export class ModePicker {
    constructor(store, nMost, fn) {
        Object.assign(this, { store, most: nMost, fn, keys: [] });
        this.button = h("button", { type: "button", class: "button", "aria-expanded": "false", onclick: () => this.toggle() }, "Choose modes", icon("down", 14));
        this.input = h("input", { type: "search", placeholder: "Name of a job", "aria-label": "Find modes by the name of their job", oninput: () => this.fill() });
        this.list = h("ul", { class: "picker-list" });
        this.element = h("div", { class: "picker", hidden: true, onkeydown: (event) => event.key === "Escape" && this.toggle(false) },
            h("label", { class: "search" }, icon("search", 16), this.input), this.list);
    }

    set(keys) {
        this.keys = keys;
        if (!this.element.hidden) for (const box of this.list.querySelectorAll("input")) this.state(box);
    }

    toggle(bOpen = this.element.hidden) {
        this.element.hidden = !bOpen;
        setAttr(this.button, "aria-expanded", String(bOpen));
        if (bOpen) {
            this.fill();
            this.input.focus();
        } else this.button.focus();
    }

    fill() {
        const needle = this.input.value.trim().toLowerCase();
        const rows = [];
        for (const mode of this.store.modes.values()) {
            if (rows.length >= MAX_ROWS) break;
            if (needle && !mode.job.name.toLowerCase().includes(needle)) continue;
            const box = h("input", { type: "checkbox", value: mode.key, onchange: () => this.pick(mode.key, box.checked) });
            this.state(box);
            rows.push(h("li", {}, h("label", {}, box, h("span", { class: "picker-name" }, mode.job.name), h("span", { class: "muted" }, mode.band))));
        }
        if (!rows.length) rows.push(h("li", { class: "muted" }, "No job has this in its name"));
        else if (rows.length === MAX_ROWS) rows.push(h("li", { class: "muted" }, "More modes: type a part of the name"));
        this.list.replaceChildren(...rows);
    }

    state(box) {
        box.checked = this.keys.includes(box.value);
        box.disabled = !box.checked && this.keys.length >= this.most;
    }

    pick(strKey, bOn) {
        this.fn(bOn ? [...this.keys, strKey].slice(0, this.most) : this.keys.filter((key) => key !== strKey));
    }
}
