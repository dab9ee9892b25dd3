// The page on the real chain, while the demo's scenario plays: what was on the screen is held against what the server
// has logged (events.jsonl, channels.jsonl).

import test, { after, before } from "node:test";
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { Chain, msOf } from "./chain.mjs";
import { ROOT, launch, number, openPage, show } from "./harness.mjs";

const SPEED = 12; // 465 s of data in 39 s
const WINDOW_MS = 40_000; // of data: so old may be what is on the screen, 3 s of the wall
const WORDS = ["Below", "Notified", "Distinct", "Critical", "Undamped"];
const LEVEL_OF_KEY = { 4206: 1, 4205: 2, 4204: 3, 4203: 4 };
const DAY = "2026-03-05";
let browser, chain, page;
const seen = { rows: [], values: [] };

before(async () => {
    [browser, chain] = await Promise.all([launch(), Chain.start(["--speed", String(SPEED), "--once"])]);
    page = await openPage(browser, `${chain.url}#/now`);
}, { timeout: 120_000 });
after(async () => {
    await browser?.close();
    await chain?.stop();
}, { timeout: 120_000 });

/// What stands on the cards at one moment.
const look = () => page.evaluate(() => ({
    clock: document.querySelector(".clock").textContent,
    values: [...document.querySelectorAll(".card")].map((card) => [Number(card.dataset.job), card.querySelector(".card-value").textContent]),
    rows: [...document.querySelectorAll(".card tr[data-mode]")].map((row) => [row.dataset.mode, row.querySelector("th").textContent, ...[...row.querySelectorAll("td")].map((cell) => cell.textContent)]),
}));
const timeOf = (strClock) => Date.parse(`${DAY}T${strClock.slice(0, 8)}Z`);

test("all views work while the scenario plays", { timeout: 180_000 }, async () => {
    const vds = chain.processes[0];
    let ended = false;
    vds.ended.then(() => (ended = true));
    await page.waitForSelector(".card");
    const walk = ["#/exposure", "#/exposure?job=all", "#/trends?span=600", "#/events", "#/health", "#/export"];
    for (let n = 0; !ended; n++) {
        if (n % 60 === 50 && walk.length) {
            await show(page, walk.shift());
            await show(page, "#/now");
            await page.waitForSelector(".card");
        }
        const { clock, values, rows } = await look();
        for (const row of rows) seen.rows.push([timeOf(clock), ...row]);
        for (const value of values) seen.values.push([timeOf(clock), ...value]);
        await page.waitForTimeout(120);
    }
    for (const hash of walk) await show(page, hash);
    assert.deepEqual(page.complaints, []);
});

test("each value on the screen is one that the application wrote", () => {
    const config = readFileSync(`${ROOT}config/examples/demo.xml`, "utf8");
    const modeOfChannel = new Map([...config.matchAll(/<PSMode Id="(\d+)"[\s\S]*?PhysType="frequency" RefID="(\d+)"/g)].map(([, mode, channel]) => [Number(channel), Number(mode)]));
    const jobOfChannel = new Map([...config.matchAll(/<Job Name="\w+" Id="(\d+)"[^>]*OutputRefId="(\d+)"/g)].map(([, job, channel]) => [Number(channel), Number(job)]));
    const modeOfPmu = new Map(), jobOfPmu = new Map(), passes = [], values = [];
    for (const line of chain.lines("channels.jsonl")) {
        if (line.op === "start") {
            modeOfPmu.set(line.pmu, modeOfChannel.get(line.channels[0]));
            jobOfPmu.set(line.pmu, jobOfChannel.get(line.channels[0]));
        } else if (line.op === "write" && modeOfPmu.get(line.pmu)) passes.push([msOf(line.time), modeOfPmu.get(line.pmu), ...line.values]);
        else if (line.op === "write" && jobOfPmu.get(line.pmu)) values.push([msOf(line.time), jobOfPmu.get(line.pmu), line.values[0]]);
    }
    const unit = (job, text) => (job === 501 ? number(text) * 1e6 : number(text));
    const near = (t, tShown) => t > tShown - WINDOW_MS && t <= tShown + 2000;
    assert.ok(seen.rows.length > 100, `only ${seen.rows.length} rows were seen`);
    assert.ok(new Set(seen.rows.map((row) => row[1])).size >= 4, "too few modes were seen");
    for (const [tShown, key, word, f, m, d, x] of seen.rows) {
        const [job, mode] = key.split(":").map(Number);
        const written = passes.filter((p) => p[1] === mode && near(p[0], tShown));
        const match = written.some((p) => Math.abs(p[2] - number(f)) < 6e-4 && Math.abs(p[3] - unit(job, m)) < (job === 501 ? 6e4 : 6e-3) && Math.abs(p[4] - number(d)) < 6e-4 && Math.abs(p[5] - number(x)) < 6e-3);
        const last = written.slice(-3).map((p) => `${new Date(p[0]).toISOString().slice(11, 19)} ${p.slice(2)}`).join("; ");
        assert.ok(match, `${key} at ${new Date(tShown).toISOString()}: ${word} ${f} ${m} ${d} ${x} was never written; the last were ${last}`);
    }
    const jobs = new Set();
    for (const [tShown, job, text] of seen.values) {
        if (!/\d/.test(text)) continue;
        const shown = unit(job, text);
        assert.ok(values.some((v) => v[1] === job && near(v[0], tShown) && Math.abs(v[2] - shown) < (job === 501 ? 6e4 : 6e-3)), `${job}: ${text} was never written`);
        jobs.add(job);
    }
    assert.deepEqual([...jobs].sort(), [501, 502]);
});

test("the list of events is that of the log", async () => {
    const log = chain.lines("events.jsonl").filter((line) => LEVEL_OF_KEY[line.key]).map((line) => ({ ...line, t: msOf(line.time), level: LEVEL_OF_KEY[line.key] }));
    await show(page, "#/events?kind=swing");
    await page.waitForSelector("tbody tr");
    for (const more = page.getByRole("button", { name: "Show earlier events" }); await more.isVisible();) {
        const n = await page.locator("tbody tr").count();
        await more.click();
        await page.waitForFunction((old) => document.querySelectorAll("tbody tr").length > old, n);
    }
    const rows = await page.locator("tbody tr").evaluateAll((list) => list.map((row) => [Number(row.dataset.event), row.querySelector("th").textContent.trim(), ...[...row.querySelectorAll("td")].map((cell) => cell.textContent)]));
    const spans = [];
    for (const [id, word, name, , begin, duration] of rows) {
        const { event } = await chain.get(`events/${id}`);
        const [minutes, seconds] = /^(?:(\d+) min )?(\d+) s$/.exec(duration).slice(1).map((n) => Number(n ?? 0));
        const tBegin = Date.parse(`${begin.replace(" ", "T")}Z`), tEnd = tBegin + (60 * minutes + seconds) * 1000;
        const own = log.filter((line) => line.elementId === event.mode && line.t >= tBegin && line.t <= tEnd);
        const raised = own.filter((line) => line.transition === "APP" && (line.t < tEnd || tEnd === tBegin));
        assert.ok(raised.some((line) => line.t === tBegin), `${name} ${begin}: no event was raised then`);
        assert.ok(event.end_ms === null || own.some((line) => line.transition === "DIS" && line.t === tEnd), `${name} ${begin}: no event ended after ${duration}`);
        assert.equal(word, WORDS[Math.max(...raised.map((line) => line.level))], `${name} ${begin}`);
        spans.push([event.mode, tBegin, tEnd]);
    }
    const lost = log.filter((line) => line.transition === "APP" && !spans.some(([mode, t0, t1]) => mode === line.elementId && line.t >= t0 && line.t <= t1));
    assert.deepEqual(lost.map((line) => `${line.iso} ${line.elementId}`), [], "events of the log that the page does not show");
    assert.ok(spans.length >= 3);
});

test("the page of an event and the curves show the course that was written", async () => {
    await page.locator("tbody a").first().click();
    await page.waitForSelector(".steps li");
    await page.waitForSelector(".charts canvas");
    assert.equal(await page.locator(".charts canvas").count(), 5);
    const { events } = await chain.get("events?kind=swing&limit=1");
    const id = Number(page.url().split("/").at(-1));
    const { event } = await chain.get(`events/${id}`);
    assert.ok(events.length === 1);
    await show(page, `#/trends?modes=${event.job}:${event.mode}&from=${event.begin_ms - 5000}&to=${(event.end_ms ?? event.begin_ms) + 5000}`);
    const over = page.locator(".charts .u-over").first();
    const box = await over.boundingBox();
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2);
    await page.waitForFunction(() => /\d/.test(document.querySelector(".chart-readout").textContent));
    assert.deepEqual(page.complaints, []);
});

test("when the server has gone, the page says so", async () => {
    await show(page, "#/health");
    await page.waitForSelector(".health-head.fault, .health-head.waiting");
    assert.match(await page.locator(".health-text").innerText(), /\S+ \S+/);
    await page.getByRole("link", { name: /^(Fault|Waiting): health/ }).waitFor();
});
