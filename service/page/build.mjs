// Bundles src/ and writes what is served, below dist/ and as the C++ table that the program holds.
// Usage: node build.mjs OUTPUT.cpp, in a folder with src/ and node_modules/. The same sources give
// the same bytes.
import {createHash} from "node:crypto";
import {mkdirSync, readFileSync, rmSync, writeFileSync} from "node:fs";
import {basename} from "node:path";
import {build} from "esbuild";

const TYPES = {
  css: "text/css; charset=utf-8",
  html: "text/html; charset=utf-8",
  js: "text/javascript; charset=utf-8",
  svg: "image/svg+xml",
  txt: "text/plain; charset=utf-8",
};

const digest = (bytes) => createHash("sha256").update(bytes).digest("hex").slice(0, 16);

// An asset's address changes with its content, so that it may be kept for ever.
const asset = (name, bytes) => {
  const [, stem, ending] = name.match(/^(.*)\.(\w+)$/);
  return {path: `/assets/${stem}-${digest(bytes)}.${ending}`, bytes: Buffer.from(bytes)};
};

async function bundled() {
  const result = await build({
    entryPoints: ["src/app.tsx"],
    bundle: true,
    minify: true,
    write: false,
    outdir: "dist",
    preserveSymlinks: true,
    target: ["chrome123", "firefox121", "safari17.5"],
    legalComments: "none",
    logLevel: "warning",
  });
  return result.outputFiles.map((file) => asset(basename(file.path), file.contents));
}

function licenses() {
  const texts = ["preact", "uplot"].map(
      (name) => `${name}\n\n${readFileSync(`node_modules/${name}/LICENSE`, "utf8")}`);
  return asset("licenses.txt", texts.join("\n\n"));
}

function filled(page, assets) {
  return page.replace(/\{\{(\w+\.\w+)\}\}/g, (_, name) => {
    const [stem, ending] = name.split(".");
    const found = assets.find(({path}) => path.startsWith(`/assets/${stem}-`) && path.endsWith(ending));
    if (!found) throw new Error(`src/index.html names ${name}, which is not there`);
    return found.path;
  });
}

function literal(bytes) {
  const rows = [];
  for (let i = 0; i < bytes.length; i += 24) {
    rows.push(Array.from(bytes.subarray(i, i + 24), String).join(","));
  }
  return rows.join(",\n");
}

function table(files) {
  const lines = ['#include "service/page/Assets.h"', "", "namespace cloudservice {", "", "namespace {", ""];
  files.forEach(({bytes}, i) => lines.push(
      `constexpr unsigned char kBytes${i}[] = {\n${literal(bytes)}};`));
  lines.push("", "}  // namespace", "", "const std::vector<Asset>& Assets() {",
             "  static const std::vector<Asset> assets = {");
  files.forEach(({path, bytes}, i) => lines.push(
      `      {"${path}", "${TYPES[path.split(".").pop()]}", "\\"${digest(bytes)}\\"",`,
      `       {reinterpret_cast<const char*>(kBytes${i}), sizeof kBytes${i}}},`));
  lines.push("  };", "  return assets;", "}", "", "}  // namespace cloudservice", "");
  return lines.join("\n");
}

const assets = [
  ...await bundled(),
  asset("icon.svg", readFileSync("src/icon.svg")),
  licenses(),
];
const page = {path: "/index.html", bytes: Buffer.from(filled(readFileSync("src/index.html", "utf8"), assets))};
rmSync("dist", {recursive: true, force: true});
mkdirSync("dist/assets", {recursive: true});
for (const {path, bytes} of [page, ...assets]) {
  writeFileSync(`dist${path}`, bytes);
  console.log(`${path} ${bytes.length}`);
}
writeFileSync(process.argv[2], table([page, ...assets]));
