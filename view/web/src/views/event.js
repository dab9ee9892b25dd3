import { h } from "../dom.js";
export function eventView() {
    return { element: h("div", { class: "view" }, h("h1", {}, "event")), title: "event" };
}
