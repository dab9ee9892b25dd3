// The page: frame around the views, their choice by the address, theme, clock and state of the link.

import "uplot/dist/uPlot.min.css";
import "./style.css";
import { h, setText, setAttr } from "./dom.js";
import { icon, level } from "./parts.js";
import { Store } from "./store.js";
import * as api from "./api.js";
import * as format from "./format.js";
import { LEVELS } from "./level.js";
import { setTheme, storedTheme } from "./palette.js";
import { nowView } from "./views/now.js";
import { exposureView } from "./views/exposure.js";
import { trendsView } from "./views/trends.js";
import { eventsView } from "./views/events.js";
import { eventView } from "./views/event.js";
import { healthView } from "./views/health.js";
import { exportView } from "./views/export.js";
import { signInView } from "./views/signin.js";

const VIEWS = {
    now: ["Now", nowView],
    exposure: ["Exposure", exposureView],
    trends: ["Trends", trendsView],
    events: ["Events", eventsView],
    health: ["Health", healthView],
    export: ["Export", exportView],
};

const store = new Store();
const app = { store, session: null, go, replaceQuery };
let current = null;
let strShown = "";

const main = h("main", { id: "main", tabindex: "-1" });
const announcer = h("p", { class: "unseen", "aria-live": "polite" });
const clock = h("button", { type: "button", class: "clock", title: "Switch between UTC and local time", onclick: switchZone });
const linkWord = h("span", {});
const linkChip = h("a", { class: "link-chip", href: "#/health" }, h("i", { class: "dot", "aria-hidden": "true" }), linkWord);
const themeButton = h("button", { type: "button", class: "button bare", onclick: switchTheme });
const userBox = h("span", { class: "user" });
const tabs = Object.fromEntries(
    Object.entries(VIEWS).map(([key, [name]]) => [key, h("a", { href: `#/${key}` }, icon(key), h("span", {}, name))]));
const nav = h("nav", { "aria-label": "Views" }, Object.values(tabs));
const lostBar = h("div", { class: "lost-bar", role: "alert", hidden: true });

document.body.append(
    h("a", { class: "skip", href: "#main", onclick: (event) => (event.preventDefault(), main.focus()) }, "Skip to the content"),
    h("header", { class: "top" },
        h("a", { class: "brand", href: "#/now", "aria-label": "Power swings: now" }, h("img", { src: "icon.svg", alt: "", width: 26, height: 26 }), h("span", {}, "Power swings")),
        nav, h("div", { class: "tools" }, linkChip, clock, themeButton, userBox)),
    lostBar, main, announcer);

// ---- choice of the view ----

function address() {
    const [path, query] = location.hash.replace(/^#\/?/, "").split("?");
    const [name, id] = path.split("/");
    return { name: name || "now", id, query: new URLSearchParams(query) };
}

function go(strHash) {
    location.hash = strHash;
}

/// Writes the state of a view into the address without a step in the history.
function replaceQuery(query) {
    const params = new URLSearchParams();
    for (const [name, value] of Object.entries(query)) if (value !== undefined && value !== null && value !== "") params.set(name, value);
    const text = params.toString();
    strShown = location.hash.split("?")[0] + (text ? "?" + text : "");
    history.replaceState(null, "", strShown);
}

function show(bFocus = true) {
    if (location.hash === strShown && current) return;
    strShown = location.hash;
    const { name, id, query } = address();
    const signIn = app.session && !app.session.signed_in;
    const known = name in VIEWS ? name : "now";
    current?.destroy?.();
    document.body.classList.toggle("signed-out", signIn);
    current = signIn ? signInView(app) : known === "events" && id ? eventView(app, Number(id), query) : VIEWS[known][1](app, query);
    for (const [key, tab] of Object.entries(tabs)) setAttr(tab, "aria-current", key === known ? "page" : "false");
    main.replaceChildren(current.element);
    main.dataset.view = signIn ? "sign-in" : known;
    window.scrollTo(0, 0);
    if (bFocus) main.focus({ preventScroll: true });
    update();
}

// ---- what changes with each message ----

let strAnnounced = "";

function update() {
    current?.update?.();
    const worst = store.ready && store.link === "live" ? store.worstEvent() : null;
    const { text, kind } = linkState();
    setText(linkWord, text);
    setAttr(linkChip, "class", `link-chip ${kind}`);
    setAttr(linkChip, "title", store.status.text);
    setAttr(linkChip, "aria-label", `${text}: health`);
    const what = worst ? `${LEVELS[worst.level].word}: ${worst.job_name}` : "";
    const title = `${what || current?.title || "Power swings"} · Power swings`;
    if (document.title !== title) document.title = title;
    if (what !== strAnnounced) {
        setText(announcer, what ? `${LEVELS[worst.level].name} at ${worst.job_name}` : "No power swing stands any more");
        strAnnounced = what;
    }
    const lost = store.ready && store.link === "lost";
    if (lostBar.hidden === lost) {
        lostBar.hidden = !lost;
        lostBar.textContent = lost ? `No connection to omaview. What is shown is of ${format.clock(store.clock.newest)} and does not move; trying again …` : "";
        document.body.classList.toggle("stale", lost);
    }
    tick();
}

function linkState() {
    if (store.link === "lost") return { text: "No connection", kind: "fault" };
    if (!store.ready) return { text: "Connecting", kind: "waiting" };
    return { ok: { text: "Live", kind: "ok" }, waiting: { text: "Waiting", kind: "waiting" }, fault: { text: "Fault", kind: "fault" } }[store.status.level];
}

function tick() {
    setText(clock, `${format.clock(store.clock.newest)} ${format.zoneName()}`);
}

// ---- tools ----

function switchZone() {
    format.setUtc(!format.isUtc());
    strShown = "";
    show(false);
}

const THEMES = { auto: ["auto", "as the system"], dark: ["dark", "dark"], light: ["light", "light"] };

function switchTheme() {
    const names = Object.keys(THEMES);
    setTheme(names[(names.indexOf(storedTheme()) + 1) % names.length]);
    showTheme();
}

function showTheme() {
    const [name, text] = THEMES[storedTheme()];
    themeButton.replaceChildren(icon(name));
    setAttr(themeButton, "aria-label", `Colours: ${text}. Switch`);
    setAttr(themeButton, "title", `Colours: ${text}`);
}

function showUser() {
    userBox.replaceChildren();
    if (!app.session.required || !app.session.signed_in) return;
    userBox.append(h("span", { class: "user-name", title: app.session.role }, app.session.name),
        h("button", { type: "button", class: "button bare", "aria-label": "Sign out", title: "Sign out", onclick: leave }, icon("out")));
}

async function leave() {
    await api.signOut().catch(() => {});
    signedOut();
}

function signedOut() {
    store.stop();
    store.ready = false;
    enter();
}

/// Finds out who we are and starts, or asks for a sign-in.
async function enter() {
    try {
        app.session = await api.whoAmI();
        showUser();
        if (app.session.signed_in) await store.start(); // else the sign-in is shown
        strShown = "";
        show(false);
    } catch (failure) {
        if (!(failure instanceof api.ApiError)) throw failure;
        main.replaceChildren(h("div", { class: "empty" }, h("p", { class: "empty-title" }, failure.message), h("p", {}, "Trying again …")));
        setTimeout(enter, 2000);
    }
}

app.enter = enter;
api.onSignedOut(() => app.session?.signed_in && signedOut());
store.addEventListener("change", update);
window.addEventListener("hashchange", () => show());
setTheme(storedTheme());
showTheme();
enter();
