// A browser for the tests: Chromium as Debian has it, with an ear for everything that it complains about.

import { createRequire } from "node:module";
import { readFileSync } from "node:fs";
import { fileURLToPath } from "node:url";

export const ROOT = fileURLToPath(new URL("../../", import.meta.url));
const require = createRequire(`${ROOT}view/web/package.json`);
const { chromium } = require("playwright-core");
const AXE = readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");
const LIMIT_MS = 15_000; // for anything that a page is waited for

export const WIDE = { viewport: { width: 1440, height: 900 } };
export const PHONE = { viewport: { width: 390, height: 844 }, deviceScaleFactor: 2, hasTouch: true, isMobile: true };

export function launch() {
    return chromium.launch({
        executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
        args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync"],
    });
}

/// A page of its own session. page.complaints collects errors of scripts, of the console (the violations of the content
/// security policy among them) and of requests that fail.
export async function openPage(browser, strUrl, options = WIDE) {
    const context = await browser.newContext({ reducedMotion: "reduce", colorScheme: "dark", ...options });
    const page = await context.newPage();
    page.setDefaultTimeout(LIMIT_MS);
    page.complaints = [];
    page.on("pageerror", (error) => page.complaints.push(`script: ${error.stack}`));
    page.on("console", (message) => ["error", "warning"].includes(message.type()) && page.complaints.push(`console: ${message.text()}`));
    page.on("response", (response) => response.status() >= 400 && page.complaints.push(`${response.status()}: ${response.url()}`));
    await page.goto(strUrl);
    return page;
}

// What stands on a view when it shows something of the server.
const SIGNS = { now: ".banner-title", exposure: ".mode-list, .plot-nothing .empty", trends: ".charts canvas, .empty", events: "tbody tr, .empty", event: ".facts dd", health: ".health-facts dd", export: ".export-grid h2" };

/// Goes to a view and waits until it shows something of the server.
export async function show(page, strHash) {
    const [name, id] = strHash.replace(/^#\//, "").split("?")[0].split("/");
    await page.evaluate((hash) => (location.hash = hash), strHash);
    await page.waitForFunction((wanted) => document.querySelector("main")?.dataset.view === wanted, name);
    await page.waitForSelector(SIGNS[id ? "event" : name]);
    await page.evaluate(() => document.fonts.ready);
}

/// Rules of axe that are broken, as lines that say where.
export async function audit(page) {
    // The page allows no script from elsewhere, so axe comes by way of the debugger, not as an element.
    await page.evaluate(AXE);
    const { violations } = await page.evaluate(() => axe.run(document, { runOnly: ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa", "best-practice"] }));
    return violations.flatMap(({ id, help, nodes }) => nodes.map((node) => `${id}: ${help}: ${node.target.join(" ")}: ${node.any.map((c) => c.message).join("; ")}`));
}

export const text = (page, strSelector) => page.locator(strSelector).first().innerText();

/// Text of the page's figures back to numbers: "−0.050" to -0.05.
export const number = (strText) => Number(strText.replace("−", "-").replace("+", "").replace(/[^\d.eE+-]/g, ""));
