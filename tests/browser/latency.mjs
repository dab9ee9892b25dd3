// How long an event takes from events.jsonl to the screen, at the pace of the wall clock. Not a test.
//   node latency.mjs [SECONDS]         default 110

import { existsSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { Chain } from "./chain.mjs";
import { launch, openPage } from "./harness.mjs";

const WORD_OF_KEY = { 4206: "Notified", 4205: "Distinct", 4204: "Critical", 4203: "Undamped" };
const [browser, chain] = await Promise.all([launch(), Chain.start(["--speed", "1"])]);
const page = await openPage(browser, `${chain.url}#/now`, { viewport: { width: 1280, height: 800 }, reducedMotion: "no-preference" });
await page.waitForSelector(".card");
await page.evaluate(() => {
    window.shown = [];
    const look = () => {
        for (const row of document.querySelectorAll("tr[data-mode]")) {
            const text = row.dataset.mode.split(":")[1] + row.querySelector("th").textContent;
            if (row.lastText !== text) window.shown.push([Date.now(), (row.lastText = text)]);
        }
    };
    new MutationObserver(look).observe(document.querySelector("main"), { subtree: true, childList: true, characterData: true });
});

const raised = [];
const log = join(chain.dir, "events.jsonl");
let nLines = 0;
for (const end = Date.now() + Number(process.argv[2] ?? 110) * 1000; Date.now() < end; await new Promise((done) => setTimeout(done, 5))) {
    const lines = existsSync(log) ? readFileSync(log, "utf8").split("\n").slice(0, -1) : [];
    for (const line of lines.slice(nLines).map((text) => JSON.parse(text)))
        if (line.transition === "APP" && WORD_OF_KEY[line.key]) raised.push([Date.now(), `${line.elementId}${WORD_OF_KEY[line.key]}`]);
    nLines = lines.length;
}
const shown = await page.evaluate(() => window.shown);
const times = raised.map(([t, text]) => (shown.find(([s, what]) => what === text && s >= t - 500)?.[0] ?? NaN) - t).filter((ms) => ms < 5000).sort((a, b) => a - b);
console.log(`${times.length} of ${raised.length} events seen; from log to screen: median ${times[times.length >> 1]} ms, at most ${times.at(-1)} ms`);
await browser.close();
await chain.stop();
