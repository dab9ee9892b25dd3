// What the page costs a browser: processor time a second and length of frames on each view. Not a test.
//   node bench.mjs [JOBS ...]      default 14 and 2000

import { launch, openPage, show } from "./harness.mjs";
import { startMock } from "../../view/web/dev/mock.mjs";

const SECONDS = 6;
const browser = await launch();
for (const jobs of process.argv.slice(2).map(Number).concat(process.argv.length > 2 ? [] : [14, 2000])) {
    const server = await startMock({ jobs });
    const page = await openPage(browser, server.url, { viewport: { width: 1440, height: 900 }, reducedMotion: "no-preference" });
    const session = await page.context().newCDPSession(page);
    await session.send("Performance.enable");
    for (const hash of ["#/now", "#/exposure?job=all", "#/trends?modes=501:602&span=604800"]) {
        await show(page, hash);
        await page.waitForTimeout(2000);
        const metrics = async () => Object.fromEntries((await session.send("Performance.getMetrics")).metrics.map((m) => [m.name, m.value]));
        const before = await metrics();
        const frames = await page.evaluate((ms) => new Promise((done) => {
            const times = [];
            const begin = performance.now();
            const step = (t) => (times.push(t), t - begin < ms ? requestAnimationFrame(step) : done(times.slice(1).map((x, i) => x - times[i]).sort((a, b) => a - b)));
            requestAnimationFrame(step);
        }), SECONDS * 1000);
        const after = await metrics();
        const busy = (after.TaskDuration - before.TaskDuration) / (after.Timestamp - before.Timestamp);
        console.log(`${jobs} jobs, ${hash}: ${(100 * busy).toFixed(0)} % of a core, frame median ${frames[frames.length >> 1].toFixed(1)} ms, ` +
            `99 % ${frames[Math.floor(frames.length * 0.99)].toFixed(0)} ms, ${after.Nodes} nodes, heap ${(after.JSHeapUsedSize / 1e6).toFixed(0)} MB`);
    }
    await page.context().close();
    await server.close();
}
await browser.close();
