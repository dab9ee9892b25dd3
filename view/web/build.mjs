// Bundles the page: one script, one style sheet, the font, each text also gzipped for a server that passes it on as it
// is. Says what a browser has to fetch, and fails if that grows beyond its limit.
//   node build.mjs [--out DIR] [--watch]

import { build, context } from "esbuild";
import { copyFile, mkdir, readFile, readdir, rm, writeFile } from "node:fs/promises";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { parseArgs } from "node:util";
import { gzipSync } from "node:zlib";

const HERE = fileURLToPath(new URL(".", import.meta.url));
const LIMIT = 150_000; // bytes on the wire for a first visit
const { values } = parseArgs({ options: { out: { type: "string", default: join(HERE, "dist") }, watch: { type: "boolean" } } });
const out = values.out;

const options = {
    entryPoints: { app: join(HERE, "src/main.js") },
    outdir: out,
    bundle: true,
    minify: true,
    format: "esm",
    target: ["chrome109", "firefox115", "safari16"],
    loader: { ".woff2": "file" },
    assetNames: "[name]",
    legalComments: "none",
    absWorkingDir: HERE,
};

await rm(out, { recursive: true, force: true });
await mkdir(out, { recursive: true });
for (const name of await readdir(join(HERE, "static"))) await copyFile(join(HERE, "static", name), join(out, name));
if (values.watch) await (await context(options)).watch();
else {
    await build(options);
    await pack();
    await writeFile(join(out, "licenses.txt"), await licenses(["uplot", "@fontsource-variable/inter"]));
}

/// The licences of what is bundled, as they ask to be passed on.
async function licenses(packages) {
    const parts = [];
    for (const name of packages) parts.push(`==== ${name} ====\n\n${await readFile(join(HERE, "node_modules", name, "LICENSE"), "utf8")}`);
    return parts.join("\n\n");
}

async function pack() {
    let total = 0;
    for (const name of (await readdir(out)).sort()) {
        const data = await readFile(join(out, name));
        const packed = name.endsWith(".woff2") ? data : gzipSync(data, { level: 9 });
        if (packed !== data) await writeFile(join(out, `${name}.gz`), packed);
        total += packed.length;
        console.log(`${name}: ${data.length} bytes, ${packed.length} on the wire`);
    }
    console.log(`together ${total} bytes on the wire`);
    if (total <= LIMIT) return;
    console.error(`more than ${LIMIT} bytes`);
    process.exitCode = 1;
}
