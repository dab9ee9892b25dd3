// The parts of the page that need no browser.

import test from "node:test";
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { CELLS, exposureOf, levelOf, wayToCritical } from "../../view/web/src/level.js";
import { Trace } from "../../view/web/src/trace.js";
import { csv } from "../../view/web/src/save.js";
import { startMock } from "../../view/web/dev/mock.mjs";
import * as format from "../../view/web/src/format.js";

const LIMITS = { warnMagn: 100, alarmMagn: 200, warnDamp: -0.1, alarmDamp: -0.05 };

test("degree of exposure is that of the analysis", () => {
    const cases = [
        [50, -0.2, 0.25], [150, -0.075, 5.25], [400, -0.025, 10.25], [400, 0.05, 11.25], [400, 0, 11],
        [50, -0.1, 2], [50, -0.05, 4], [50, 0, 6], [150, -0.2, 1.25], [400, -0.2, 3.25],
    ];
    for (const [magn, damp, exposure] of cases) assert.ok(Math.abs(exposureOf(LIMITS, magn, damp) - exposure) < 1e-9, `${magn}, ${damp}`);
});

test("levels of the twelve cells", () => {
    assert.deepEqual(CELLS.flat().sort((a, b) => a - b), [0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11]);
    assert.deepEqual([0.5, 1, 2.9, 3, 6.99, 7, 10.99, 11, 11.99].map(levelOf), [0, 1, 1, 2, 2, 3, 3, 4, 4]);
    assert.deepEqual([null, undefined, NaN, -1].map(levelOf), [0, 0, 0, 0]);
});

test("way to critical leads to a cell that is critical", () => {
    for (const [magn, damp] of [[150, -0.2], [150, -0.075], [50, -0.06], [50, 0.01], [250, -0.15]]) {
        const way = wayToCritical(LIMITS, magn, damp);
        assert.equal(way.critical, false);
        if (way.magn !== null) assert.ok(levelOf(exposureOf(LIMITS, magn + way.magn + 1e-9, damp)) >= 3, `${magn}, ${damp}`);
        if (way.damp !== null) assert.ok(levelOf(exposureOf(LIMITS, magn, damp + way.damp + 1e-9)) >= 3, `${magn}, ${damp}`);
        assert.ok(way.magn !== null || way.damp !== null);
    }
    assert.equal(wayToCritical(LIMITS, 150, -0.01).critical, true);
    assert.deepEqual(wayToCritical(LIMITS, 50, -0.2), { critical: false, damp: null, magn: null }); // it takes both
});

test("a trace keeps blocks in order, once, with holes", () => {
    const seen = (trace, from, to, n) => {
        const min = new Float64Array(n), max = new Float64Array(n);
        trace.columns(from, to, n, min, max);
        return Array.from(min);
    };
    const trace = new Trace(10);
    trace.add({ begin_ms: 1000, step_ms: 100, values: [1, 2, 3] });
    trace.add({ begin_ms: 1200, step_ms: 100, values: [9, 4] }); // its first value is there already
    trace.add({ begin_ms: 1600, step_ms: 100, values: [7, null, 8] }); // after a hole of two
    assert.deepEqual(seen(trace, 1000, 1900, 9), [1, 2, 3, 4, NaN, NaN, 7, NaN, 8]);
    assert.equal(trace.newest_ms, 1800);
    trace.add({ begin_ms: 500, step_ms: 100, values: [5] }); // the data have begun anew
    assert.deepEqual(seen(trace, 500, 700, 2), [5, NaN]);
    for (let t = 600; t < 500_000; t += 100) trace.add({ begin_ms: t, step_ms: 100, values: [t] });
    assert.deepEqual(seen(trace, 499_000, 499_300, 3), [499_000, 499_100, 499_200]);
    assert.deepEqual(seen(trace, 600, 800, 2), [NaN, NaN]); // long forgotten
    trace.add({ begin_ms: 9e9, step_ms: 20, values: [1, 2] }); // another rate, much later
    assert.deepEqual(seen(trace, 9e9, 9e9 + 40, 2), [1, 2]);
});

test("texts in CSV are neither torn nor taken for formulas", async () => {
    const blob = csv([["a", 'say "x", y', "=1+1", "-2", -2, null, "two\nlines"]]);
    assert.equal(await blob.text(), `a,"say ""x"", y",'=1+1,'-2,-2,,"two\nlines"\r\n`);
});

test("numbers and times as texts", () => {
    assert.equal(format.damping(-0.05), "−0.050");
    assert.equal(format.damping(0.0201), "+0.020");
    assert.equal(format.damping(-0.0001), "−0.000");
    assert.equal(format.damping(null), "–");
    const power = format.scaleOf("W", 12e6);
    assert.equal(format.magnitude(power, 4.83e6), "4.8 MW");
    assert.equal(format.magnitude(format.scaleOf("W", 40e3), 12_345), "12.3 kW");
    assert.equal(format.magnitude(format.scaleOf("°", 0.5), 0.525), "0.53°");
    assert.deepEqual([5, 65, 3700, 90_000].map(format.span), ["5 s", "1 min 05 s", "1 h 01 min", "1 d 1 h"]);
    assert.equal(format.dateTime(Date.UTC(2026, 2, 5, 10, 2, 3)), "2026-03-05 10:02:03");
    assert.equal(format.fromInput(format.toInput(1_772_704_923_000)), 1_772_704_923_000);
});

test("the stand-in for the server answers as the interface is described", async () => {
    const require = createRequire(new URL("../../view/web/package.json", import.meta.url));
    const Ajv = require("ajv/dist/2020.js").default;
    const api = JSON.parse(readFileSync(new URL("../../view/openapi.json", import.meta.url), "utf8"));
    const ajv = new Ajv({ strict: false, allErrors: true });
    ajv.addSchema(api, "api");
    const server = await startMock({ speed: 0 });
    try {
        const { events } = await (await fetch(`${server.url}api/v1/events?limit=1`)).json();
        for (const path of ["jobs", "state", "session", "health", "events?limit=5", `events/${events[0].id}`, "trends?modes=501:602,502:612", "trends?modes=501:602&points=50", "values?job=501"]) {
            const template = `/api/v1/${path.split("?")[0].replace(/\d+$/, "{id}")}`;
            const answer = await (await fetch(`${server.url}api/v1/${path}`)).json();
            const schema = api.paths[template].get.responses["200"].content["application/json"].schema;
            assert.ok(schema, `${template} is described`);
            const check = ajv.compile({ $ref: `api${schema.$ref}` });
            assert.ok(check(answer), `${path}: ${ajv.errorsText(check.errors)}`);
        }
    } finally {
        await server.close();
    }
});
