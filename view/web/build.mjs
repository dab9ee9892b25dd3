// Bundles the page into dist/: one script, one style sheet, the font, each also gzipped for servers that pass them on
// as they are. Says what a browser has to fetch.

import { build, context } from "esbuild";
import { copyFile, mkdir, readFile, readdir, rm, writeFile } from "node:fs/promises";
import { gzipSync } from "node:zlib";
import { fileURLToPath } from "node:url";

const here = (strPath) => fileURLToPath(new URL(strPath, import.meta.url));
const LIMIT = 150_000; // bytes on the wire for a first visit

const options = {
    entryPoints: { app: here("src/main.js") },
    outdir: here("dist"),
    bundle: true,
    minify: true,
    format: "esm",
    target: ["chrome109", "firefox115", "safari16"],
    loader: { ".woff2": "file" },
    assetNames: "[name]",
    legalComments: "none",
    absWorkingDir: here("."),
};

async function copyPages() {
    for (const name of await readdir(here("static"))) await copyFile(here(`static/${name}`), here(`dist/${name}`));
}

await rm(here("dist"), { recursive: true, force: true });
await mkdir(here("dist"));
await copyPages();
if (process.argv.includes("--watch")) {
    await (await context(options)).watch();
} else {
    await build(options);
    let total = 0;
    for (const name of (await readdir(here("dist"))).sort()) {
        const data = await readFile(here(`dist/${name}`));
        const packed = name.endsWith(".woff2") ? data : gzipSync(data, { level: 9 });
        if (packed !== data) await writeFile(here(`dist/${name}.gz`), packed);
        total += packed.length;
        console.log(`${name}: ${data.length} bytes, ${packed.length} on the wire`);
    }
    console.log(`together ${total} bytes on the wire`);
    if (total > LIMIT) {
        console.error(`more than ${LIMIT} bytes`);
        process.exit(1);
    }
}
