// Every view of the page in a real browser, against a server with the interface of omaview whose grid is known.

import test, { after, before } from "node:test";
import assert from "node:assert/strict";
import { PHONE, WIDE, audit, launch, number, openPage, show, text } from "./harness.mjs";
import { startMock } from "../../view/web/dev/mock.mjs";

const AT = Date.UTC(2026, 2, 5, 10, 2, 10); // several swings stand, some are below all levels
let browser;
const servers = [];
before(async () => (browser = await launch()));
after(async () => {
    await browser?.close();
    await Promise.all(servers.map((server) => server.close()));
});

/// A server whose data stand still, unless told otherwise, so that the screen can be compared with its answers.
async function serve(options = {}) {
    const server = await startMock({ at: AT, speed: 0, ...options });
    servers.push(server);
    server.get = async (path) => (await fetch(`${server.url}api/v1/${path}`)).json();
    return server;
}

const eventOf = async (server, query = "level_min=4") => (await server.get(`events?limit=1&${query}`)).events[0];

// ---- all views ----

const PHONE_LIGHT = { ...PHONE, colorScheme: "light" };

for (const [kind, options] of [["wide, dark", { ...WIDE, colorScheme: "dark" }], ["wide, light", { ...WIDE, colorScheme: "light" }], ["phone, light", PHONE_LIGHT]])
    test(`all views without complaints, in contrast and named: ${kind}`, async () => {
        const server = await serve();
        const { id } = await eventOf(server);
        const page = await openPage(browser, server.url, options);
        for (const hash of ["#/now", "#/exposure", "#/exposure?job=all", "#/trends?span=600", "#/events", `#/events/${id}`, "#/health", "#/export"]) {
            await show(page, hash);
            if (options !== PHONE_LIGHT || /now|exposure$/.test(hash)) assert.deepEqual(await audit(page), [], hash);
            const beyond = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
            assert.ok(beyond <= 0, `${hash} scrolls sideways by ${beyond}`);
        }
        assert.deepEqual(page.complaints, []);
        await page.context().close();
    });

// ---- what is shown is what the server says ----

test("Now shows value, level and modes of each job that swings", async () => {
    const server = await serve();
    const { jobs: infos } = await server.get("jobs");
    const { jobs, events } = await server.get("state");
    const page = await openPage(browser, `${server.url}#/now`);
    await page.waitForSelector(".card");
    const lively = jobs.filter((job) => job.modes.some((mode) => mode.alive));
    assert.ok(lively.length >= 3);
    for (const job of lively) {
        const card = page.locator(`.card[data-job="${job.job}"]`);
        const info = infos.find((i) => i.job === job.job);
        const factor = info.unit === "W" ? 1e6 : 1;
        assert.equal(await card.locator("h2").innerText(), info.name);
        assert.ok(Math.abs(number(await card.locator(".card-value").innerText()) * factor - job.value) <= 0.06 * factor);
        for (const mode of job.modes) {
            const row = card.locator(`tr[data-mode="${job.job}:${mode.mode}"]`);
            assert.equal(await row.count(), mode.alive ? 1 : 0);
            if (!mode.alive) continue;
            const cells = await row.locator("td").allInnerTexts();
            assert.ok(Math.abs(number(cells[0]) - mode.frequency_Hz) <= 6e-4);
            assert.ok(Math.abs(number(cells[1]) * factor - mode.magnitude) <= 0.06 * factor);
            assert.ok(Math.abs(number(cells[2]) - mode.damping_ratio) <= 6e-4);
            assert.ok(Math.abs(number(cells[3]) - mode.exposure) <= 6e-3);
            assert.equal(cells[4], new Date(mode.since_ms).toISOString().slice(11, 19));
            assert.equal(await row.locator("th").innerText(), ["Below", "Notified", "Distinct", "Critical", "Undamped"][mode.level]);
        }
    }
    assert.match(await text(page, ".fold-text"), new RegExp(`^${jobs.length - lively.length} jobs are quiet`));
    assert.ok((await text(page, ".banner-title")).includes(events[0].job_name));
    assert.equal(await page.locator(".banner a").getAttribute("href"), `#/events/${events[0].id}`);
    await page.fill("input[type=search]", infos.find((i) => i.job === lively[0].job).name);
    await page.waitForFunction(() => document.querySelectorAll(".card").length === 1);
    await page.context().close();
});

test("Exposure lists the modes, follows a job and keeps the choice in its address", async () => {
    const server = await serve();
    const { jobs } = await server.get("state");
    const live = jobs.flatMap((job) => job.modes.filter((mode) => mode.alive).map((mode) => ({ ...mode, job: job.job }))).sort((a, b) => b.exposure - a.exposure);
    const page = await openPage(browser, `${server.url}#/exposure?job=all`);
    await page.waitForSelector(".mode-row");
    const shown = (await page.locator(".mode-exposure").allInnerTexts()).map(number);
    assert.deepEqual(shown, live.map((mode) => Number(mode.exposure.toFixed(2))));
    await page.selectOption("select", String(live.at(-1).job));
    assert.match(page.url(), new RegExp(`job=${live.at(-1).job}`));
    await page.locator(".mode-row:not(.other)").first().click();
    assert.match(page.url(), /mode=\d+%3A\d+/);
    assert.equal(await page.locator('.mode-row[aria-pressed="true"]').count(), 1);
    await page.reload();
    await page.waitForSelector('.mode-row[aria-pressed="true"]');
    await page.context().close();
});

test("Trends draws the chosen modes, zooms and pans, and says why nothing is shown", async () => {
    const server = await serve();
    const page = await openPage(browser, `${server.url}#/trends?modes=501:602&span=3600`);
    await page.waitForSelector(".charts canvas");
    assert.equal(await page.locator(".charts canvas").count(), 4);
    await page.locator(".charts").focus();
    const from = () => Number(new URLSearchParams(new URL(page.url()).hash.split("?")[1]).get("from"));
    await page.keyboard.press("+");
    await page.waitForURL(/from=/);
    const zoomed = from();
    await page.keyboard.press("ArrowLeft");
    await page.waitForFunction((old) => !location.hash.includes(`from=${old}`), zoomed);
    assert.ok(from() < zoomed);
    const box = await page.locator(".charts .u-over").first().boundingBox();
    const before = from();
    await page.mouse.move(box.x + box.width * 0.4, box.y + 40);
    await page.mouse.down();
    await page.mouse.move(box.x + box.width * 0.6, box.y + 40, { steps: 4 });
    await page.mouse.up();
    await page.waitForFunction((old) => !location.hash.includes(`from=${old}`), before);
    assert.ok(from() > before);
    await page.getByRole("button", { name: /^Remove/ }).click();
    await page.getByText("No mode chosen").waitFor();
    await page.getByRole("button", { name: "Choose modes" }).click();
    await page.getByLabel("Find modes by the name of their job").fill("Alder");
    await page.locator(".picker-list input").first().check();
    await page.locator(".chip").waitFor();
    assert.deepEqual(page.complaints, []);
    await page.context().close();
});

test("Events filters, leads to an event, and takes notes and acknowledgement", async () => {
    const server = await serve();
    const page = await openPage(browser, `${server.url}#/events`);
    await page.waitForSelector("tbody tr");
    const { events } = await server.get("events?limit=100");
    assert.deepEqual(await page.locator("tbody tr").evaluateAll((rows) => rows.map((row) => Number(row.dataset.event))), events.map((e) => e.id));
    await page.getByLabel("Worst level at least").selectOption("4");
    const worst = (await server.get("events?limit=100&level_min=4")).events;
    await page.waitForFunction((n) => Number(document.querySelector("tbody tr")?.dataset.event) === n, worst[0].id);
    assert.ok((await page.locator("tbody th").allInnerTexts()).every((word) => word.trim() === "Undamped"));

    await page.locator("tbody tr a").first().click();
    await page.waitForSelector(".steps li");
    const { event, steps, neighbours } = await server.get(`events/${worst[0].id}`);
    assert.ok((await text(page, "h1")).includes(event.job_name));
    assert.equal(await page.locator(".steps li").count(), steps.filter((s) => s.transition === "APP").length + (event.end_ms ? 1 : 0));
    const rows = await page.locator(".plain-table tbody tr").allInnerTexts();
    assert.equal(rows.length, neighbours.length);
    neighbours.forEach((n, i) => assert.ok(rows[i].includes(n.job_name) && Math.abs(number(rows[i].split("\t").at(-1)) - n.phase_deg) <= 0.51));
    for (const [name, ending] of [["COMTRADE", "cff"], ["Record CSV", "csv"], ["PNG", "png"]]) {
        const [file] = await Promise.all([page.waitForEvent("download"), page.getByRole("button", { name }).click()]);
        assert.ok(file.suggestedFilename().endsWith(`.${ending}`), file.suggestedFilename());
    }
    await page.getByLabel("Note").fill("Called the neighbours.\nGenerator 2 reduced.");
    await page.getByRole("button", { name: "Add note" }).click();
    await page.getByText("Generator 2 reduced.").waitFor();
    server.mock.token = "another"; // as after a restart of the server: the page fetches it and tries again
    await page.getByRole("button", { name: "Acknowledge" }).click();
    await page.getByText("Acknowledged by local").waitFor();
    assert.equal(await page.getByRole("button", { name: "Acknowledge" }).count(), 0);
    assert.deepEqual(page.complaints.filter((line) => !line.includes("403")), []);
    await page.context().close();
});

test("Export gives files, and says what hinders it", async () => {
    const server = await serve();
    const page = await openPage(browser, `${server.url}#/export`);
    await page.getByRole("button", { name: "Courses CSV" }).click();
    await page.getByText("Choose at least one mode.").waitFor();
    await page.getByRole("button", { name: "Choose modes" }).click();
    await page.locator(".picker-list input").first().check();
    for (const name of ["Events CSV", "Values CSV", "Courses CSV"])
        await Promise.all([page.waitForEvent("download"), page.getByRole("button", { name }).click()]);
    await page.route("**/export/events.csv*", (route) => route.fulfill({ status: 400, json: { error: "the range is too long" } }));
    await page.getByRole("button", { name: "Events CSV" }).click();
    await page.getByText("the range is too long").waitFor();
    await page.context().close();
});

test("no event, an unknown event and an unknown address say so", async () => {
    const server = await serve();
    const page = await openPage(browser, `${server.url}#/events?text=nobody`);
    await page.getByText("No event fits the filters").waitFor();
    await page.evaluate(() => (location.hash = "#/events/1"));
    await page.getByText("There is no such event").waitFor();
    await page.evaluate(() => (location.hash = "#/nonsense"));
    await page.waitForSelector(".banner");
    await page.context().close();
});

// ---- why nothing is shown ----

for (const [status, chip] of [["waiting", "Waiting"], ["fault", "Fault"]])
    test(`says why nothing is shown: ${status}`, async () => {
        const server = await serve({ status, at: status === "fault" ? Date.UTC(2026, 2, 5, 10, 7, 50) : AT });
        const { status: told } = await server.get("state");
        const page = await openPage(browser, `${server.url}#/health`);
        await page.getByText(told.text).first().waitFor();
        await page.getByRole("link", { name: chip }).waitFor();
        await show(page, "#/now");
        if (status === "waiting") await page.locator(".banner").getByText(told.text).waitFor();
        await page.context().close();
    });

test("a server that goes away is told within seconds, and found again", async () => {
    let server = await startMock({ at: AT });
    const { port } = new URL(server.url);
    const page = await openPage(browser, `${server.url}#/now`);
    await page.waitForSelector(".card");
    await server.close();
    await page.getByText("No connection to omaview").waitFor();
    server = await startMock({ at: AT, port: Number(port) });
    servers.push(server);
    await page.waitForFunction(() => document.querySelector(".lost-bar").hidden);
    await page.getByRole("link", { name: "Live" }).waitFor();
    await page.context().close();
});

// ---- hostile texts, many jobs, keyboard, sign-in ----

test("markup in names, events and notes stays text", async () => {
    const server = await serve({ hostile: true });
    const markup = '<img src=x onerror="window.hacked=1"><b id="injected">';
    const { id } = await eventOf(server);
    server.mock.note(id, markup, markup);
    server.mock.acknowledge(id, markup);
    const page = await openPage(browser, server.url);
    for (const hash of ["#/now", "#/exposure?job=all", "#/exposure?job=501", "#/trends?modes=501:602,502:612", "#/events", `#/events/${id}`, "#/health", "#/export"]) {
        await show(page, hash);
        const found = await page.evaluate(() => ({
            hacked: window.hacked, injected: document.querySelectorAll("#injected, main img:not([src='icon.svg']), main script, main [onerror], main [onload], a[href^='javascript']").length,
            beyond: document.documentElement.scrollWidth - innerWidth,
        }));
        assert.deepEqual(found, { hacked: undefined, injected: 0, beyond: found.beyond });
        assert.ok(found.beyond <= 0, `${hash} is torn by ${found.beyond}`);
    }
    await show(page, `#/events/${id}`);
    await page.locator(".note-text").getByText(markup).waitFor();
    assert.deepEqual(page.complaints, []);
    await page.context().close();
});

test("2,000 jobs: quiet ones are folded, an unfolded list holds only what is seen", async () => {
    const server = await serve({ jobs: 2000, speed: 1 });
    const page = await openPage(browser, `${server.url}#/now`);
    await page.waitForSelector(".card");
    const size = () => page.evaluate(() => document.querySelectorAll("*").length);
    assert.ok((await page.locator(".card").count()) <= 60);
    assert.match(await text(page, ".fold-text"), /^1 9\d\d jobs are quiet|^1.9\d\d jobs are quiet/);
    const folded = await size();
    await page.locator(".fold").click();
    await page.waitForSelector(".quiet-row");
    assert.ok((await page.locator(".quiet-row").count()) < 60);
    assert.ok((await size()) < folded + 400);
    await page.locator(".virtual").evaluate((list) => (list.scrollTop = list.scrollHeight));
    await page.waitForFunction(() => Number([...document.querySelectorAll(".quiet-row")].at(-1).getAttribute("aria-posinset")) > 1900);
    await show(page, "#/exposure?job=all");
    await show(page, "#/health");
    await show(page, "#/now");
    await page.waitForSelector(".card");
    assert.deepEqual(page.complaints, []);
    await page.context().close();
});

test("everything can be reached and worked by keyboard", async () => {
    const server = await serve();
    const page = await openPage(browser, `${server.url}#/now`);
    await page.waitForSelector(".card");
    const focus = () => page.evaluate(() => {
        const e = document.activeElement;
        const box = e.getBoundingClientRect();
        const style = getComputedStyle(e);
        return { what: (e.getAttribute("aria-label") ?? e.textContent ?? e.tagName).trim().slice(0, 30), seen: box.width > 0 && box.height > 0, ring: style.outlineStyle !== "none" && parseFloat(style.outlineWidth) >= 1 };
    });
    await page.evaluate(() => document.activeElement.blur());
    const names = [];
    for (let i = 0; i < 60; i++) {
        await page.keyboard.press("Tab");
        const { what, seen, ring } = await focus();
        assert.ok(seen && ring, `"${what}" has the focus without being seen`);
        names.push(what);
        if (what.includes("jobs are quiet")) break;
    }
    for (const wanted of ["Skip to the content", "Exposure", "Export", "Live", "Filter jobs by name", "By severity", "Open event"])
        assert.ok(names.some((name) => name.includes(wanted)), `${wanted} is not reached: ${names.join(" | ")}`);
    await page.keyboard.press("Enter");
    await page.waitForSelector(".quiet-row");

    await show(page, "#/exposure?job=501");
    await page.locator(".mode-row").first().focus();
    await page.keyboard.press("Enter");
    await page.waitForFunction(() => document.querySelector(".mode-row").matches('[aria-pressed="true"], .other *, :not(.other)'));
    await show(page, "#/events");
    await page.waitForSelector("tbody a");
    await page.locator("tbody a").first().focus();
    await page.keyboard.press("Enter");
    await page.waitForSelector(".steps");
    await page.keyboard.press("Tab"); // the focus is at the head of the new view
    assert.equal((await focus()).what, "All events");
    await page.context().close();
});

test("colours and times can be switched and stay", async () => {
    const server = await serve();
    const page = await openPage(browser, `${server.url}#/now`, { ...WIDE, timezoneId: "Asia/Tokyo" });
    await page.waitForSelector(".card");
    const ground = () => page.evaluate(() => getComputedStyle(document.documentElement).backgroundColor);
    const dark = await ground();
    const button = page.getByRole("button", { name: /^Colours/ });
    await button.click(); // dark
    await button.click(); // light
    assert.notEqual(await ground(), dark);
    await page.reload();
    await page.waitForSelector(".card");
    assert.notEqual(await ground(), dark);
    assert.equal(await text(page, ".clock"), "10:02:10 UTC");
    await page.locator(".clock").click();
    assert.equal(await text(page, ".clock"), "19:02:10 local");
    await page.context().close();
});

test("sign-in: refused, let in, what a viewer may not do, and out again", async () => {
    const server = await serve({ users: true });
    const page = await openPage(browser, `${server.url}#/now`);
    await page.getByLabel("Name").fill("viewer");
    await page.getByLabel("Password").fill("wrong");
    assert.deepEqual(await audit(page), []);
    await page.getByRole("button", { name: "Sign in" }).click();
    await page.getByText("Name or password is wrong.").waitFor();
    await page.getByLabel("Password").fill("viewer");
    await page.keyboard.press("Enter");
    await page.waitForSelector(".card");
    server.mock.users = false;
    const { id } = await eventOf(server);
    server.mock.users = true;
    await show(page, `#/events/${id}`);
    await page.getByText("Operators may add notes and acknowledge.").waitFor();
    assert.equal(await page.getByRole("button", { name: "Acknowledge" }).count(), 0);
    server.mock.sessions.clear(); // the session ends at the server
    await page.evaluate(() => (location.hash = "#/events"));
    await page.getByRole("button", { name: "Sign in" }).waitFor();
    await page.getByLabel("Name").fill("operator");
    await page.getByLabel("Password").fill("operator");
    await page.keyboard.press("Enter");
    await page.waitForSelector("tbody tr");
    await page.getByRole("button", { name: "Sign out" }).click();
    await page.getByRole("button", { name: "Sign in" }).waitFor();
    assert.deepEqual(page.complaints.filter((line) => !line.includes("401")), []);
    await page.context().close();
});
