// The real chain on the demo's scenario: vds, oma and omaview as processes, with files of their own.

import { spawn } from "node:child_process";
import { existsSync, openSync, readFileSync, writeFileSync } from "node:fs";
import { mkdtemp, rm } from "node:fs/promises";
import { createServer } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { ROOT } from "./harness.mjs";

const BIN = process.env.OMA_BIN_DIR ?? `${ROOT}build/release/bin`;
const START_MS = 30_000;
const STOP_MS = 40_000;
const UNIX_TICKS = 621_355_968_000_000_000n; // 100 ns from the year 1 to 1970

/// Milliseconds since 1970 of a time stamp in ticks, as it stands in the text of a log (beyond the integers of a number).
export const msOf = (strTicks) => Number((BigInt(strTicks) - UNIX_TICKS) / 10_000n);

function freePorts(n) {
    const servers = Array.from({ length: n }, () => createServer());
    return Promise.all(servers.map((server) => new Promise((done) => server.listen(0, "127.0.0.1", () => done(server.address().port)))))
        .then((ports) => Promise.all(servers.map((server) => new Promise((done) => server.close(done)))).then(() => ports));
}

export class Chain {
    /// Starts all three; p_args: further options of vds, such as ["--speed", "6"].
    static async start(args) {
        const chain = new Chain();
        chain.dir = await mkdtemp(join(tmpdir(), "oma-browser-"));
        const ports = await freePorts(3);
        const config = join(chain.dir, "demo.xml");
        const example = readFileSync(`${ROOT}config/examples/demo.xml`, "utf8");
        writeFileSync(config, example.replace(/\bPort="\d+"/, `Port="${ports[0]}"`).replace(/PortApplicationData="\d+"/, `PortApplicationData="${ports[1]}"`));
        chain.processes = [];
        chain.url = `http://127.0.0.1:${ports[2]}/`;
        chain.spawn("vds", [`-xml:${config}`, "--simulate", `${ROOT}config/examples/demo.json`, "--log-dir", chain.dir, "--log-measurements", ...args]);
        chain.spawn("omaview", [`-xml:${config}`, "--port", String(ports[2]), "--data", join(chain.dir, "view.db"), "--page", process.env.OMA_PAGE_DIR ?? `${ROOT}view/web/dist`]);
        await chain.waitReady();
        chain.spawn("oma", [`-xml:${config}`]);
        return chain;
    }

    spawn(strName, args) {
        const log = openSync(join(this.dir, `${strName}.log`), "w");
        const child = spawn(join(BIN, strName), args, { cwd: this.dir, stdio: ["ignore", log, log] });
        child.ended = new Promise((done) => child.on("exit", done));
        this.processes.push(child);
    }

    async waitReady() {
        for (const end = Date.now() + START_MS; Date.now() < end;) {
            const answer = await fetch(`${this.url}readyz`).catch(() => null);
            if (answer?.ok) return;
            await new Promise((done) => setTimeout(done, 100));
        }
        throw new Error(`omaview is not ready: ${this.log("omaview")}`);
    }

    log = (strName) => readFileSync(join(this.dir, `${strName}.log`), "utf8");

    async get(strPath) {
        const answer = await fetch(`${this.url}api/v1/${strPath}`);
        if (!answer.ok) throw new Error(`${strPath}: ${answer.status} ${await answer.text()}`);
        return answer.json();
    }

    /// Lines of a log of vds so far; 64-bit numbers stay texts.
    lines(strFile) {
        const path = join(this.dir, strFile);
        if (!existsSync(path)) return [];
        return readFileSync(path, "utf8").split("\n").slice(0, -1).map((line) => JSON.parse(line.replace(/"time":(\d{16,})/g, '"time":"$1"')));
    }

    async stop() {
        for (const child of this.processes.reverse()) {
            child.kill("SIGTERM");
            const timer = setTimeout(() => child.kill("SIGKILL"), STOP_MS);
            await child.ended;
            clearTimeout(timer);
        }
        await rm(this.dir, { recursive: true, force: true });
    }
}
