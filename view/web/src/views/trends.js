import { h } from "../dom.js";
export function trendsView() {
    return { element: h("div", { class: "view" }, h("h1", {}, "trends")), title: "trends" };
}
