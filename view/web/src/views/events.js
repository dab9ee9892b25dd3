import { h } from "../dom.js";
export function eventsView() {
    return { element: h("div", { class: "view" }, h("h1", {}, "events")), title: "events" };
}
