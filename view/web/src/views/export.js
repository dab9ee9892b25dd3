import { h } from "../dom.js";
export function exportView() {
    return { element: h("div", { class: "view" }, h("h1", {}, "export")), title: "export" };
}
