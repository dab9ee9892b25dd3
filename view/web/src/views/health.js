import { h } from "../dom.js";
export function healthView() {
    return { element: h("div", { class: "view" }, h("h1", {}, "health")), title: "health" };
}
