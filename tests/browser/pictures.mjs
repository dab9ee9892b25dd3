// Takes the pictures of docs/: the page on the real chain while the demo's growing swing is at its worst, and after it.
//   node pictures.mjs [--out DIR]         default docs/
// Debian's pngquant, where it is installed, makes them a third of the size.

import { spawnSync } from "node:child_process";
import { statSync } from "node:fs";
import { parseArgs } from "node:util";
import { Chain } from "./chain.mjs";
import { PHONE, ROOT, launch, openPage, show } from "./harness.mjs";

const { values } = parseArgs({ options: { out: { type: "string", default: `${ROOT}docs` } } });
const SPEED = 6;
const DAY = "2026-03-05T";
const WORST = Date.parse(`${DAY}10:02:18Z`); // the growing swing is far above its limits
const TWO = Date.parse(`${DAY}10:05:50Z`); // two swings at once
const SIZE = { viewport: { width: 1280, height: 800 } };

const [browser, chain] = await Promise.all([launch(), Chain.start(["--speed", String(SPEED)])]);
const dark = await openPage(browser, `${chain.url}#/now`, { ...SIZE, colorScheme: "dark", reducedMotion: "no-preference" });
const light = await openPage(browser, `${chain.url}#/exposure`, { ...SIZE, colorScheme: "light", reducedMotion: "no-preference" });
const phone = await openPage(browser, `${chain.url}#/now`, { ...PHONE, colorScheme: "dark" });

const reach = (t) => dark.waitForFunction((wanted) => Date.parse(`2026-03-05T${document.querySelector(".clock").textContent.slice(0, 8)}Z`) >= wanted, t, { timeout: 120_000 });
const pathOf = (strName) => `${values.out}/window-${strName}.png`;
const names = [];
const take = (page, strName) => page.screenshot({ path: pathOf(strName) }).then(() => names.push(strName));

await reach(WORST);
await Promise.all([take(dark, "now"), take(light, "exposure-light"), take(phone, "phone")]);
await show(dark, "#/exposure");
await dark.waitForTimeout(700); // the marks glide to their places
await take(dark, "exposure");
await reach(TWO);
await show(dark, "#/trends?modes=501:611,501:612,501:613&span=600");
await dark.waitForTimeout(2500);
await take(dark, "trends");
await show(dark, "#/events");
await dark.waitForSelector("tbody tr");
await take(dark, "events");
const { events } = await chain.get(`events?job=501&level_min=4&to_ms=${TWO - 150_000}&limit=100`);
const longest = events.sort((a, b) => (b.end_ms ?? TWO) - b.begin_ms - (a.end_ms ?? TWO) + a.begin_ms)[0];
await light.setViewportSize({ width: 1280, height: 1250 });
await show(light, `#/events/${longest.id}`);
await light.waitForSelector(".charts canvas");
await light.waitForTimeout(800);
await take(light, "event");
await show(dark, "#/health");
await take(dark, "health");
await browser.close();
await chain.stop();
spawnSync("pngquant", ["--force", "--ext", ".png", "--quality", "70-95", ...names.map(pathOf)]);
for (const name of names) console.log(`${pathOf(name)}: ${statSync(pathOf(name)).size} bytes`);
