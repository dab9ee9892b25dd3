// Sign-in, where the server asks for it.

import { h } from "../dom.js";
import { signIn } from "../api.js";

export function signInView(app) {
    const name = h("input", { name: "name", autocomplete: "username", required: true, autocapitalize: "none", spellcheck: "false" });
    const password = h("input", { name: "password", type: "password", autocomplete: "current-password", required: true });
    const message = h("p", { class: "form-message", role: "alert" });
    const submit = h("button", { class: "button solid wide", type: "submit" }, "Sign in");

    async function send(event) {
        event.preventDefault();
        submit.disabled = true;
        message.textContent = "";
        try {
            await signIn(name.value, password.value);
            await app.enter();
        } catch (failure) {
            message.textContent = failure.status === 401 ? "Name or password is wrong." : failure.message;
            password.value = "";
            password.focus();
        } finally {
            submit.disabled = false;
        }
    }

    const element = h("div", { class: "view sign-in" },
        h("form", { class: "panel", onsubmit: send },
            h("img", { src: "icon.svg", alt: "", width: 48, height: 48 }), h("h1", {}, "Power swings"),
            h("label", { class: "field" }, h("span", {}, "Name"), name), h("label", { class: "field" }, h("span", {}, "Password"), password),
            message, submit));
    return { element, title: "Sign in" };
}
