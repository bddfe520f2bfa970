// SPDX-License-Identifier: Apache-2.0
// Bundles src/ and writes the files that are served, below dist/ and as the program's C++ table.
// Usage: node build.mjs OUTPUT.cpp, in a folder with src/ and node_modules/. The same sources give
// the same bytes.
import {createHash} from "node:crypto";
import {mkdirSync, readFileSync, readdirSync, rmSync, writeFileSync} from "node:fs";
import {basename} from "node:path";
import {gzipSync} from "node:zlib";
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
    metafile: true,
    outdir: "dist",
    preserveSymlinks: true,
    target: ["chrome123", "firefox121", "safari17.5"],
    legalComments: "none",
    logLevel: "warning",
  });
  return {
    files: result.outputFiles.map((file) => asset(basename(file.path), file.contents)),
    inputs: Object.keys(result.metafile.inputs),
  };
}

// The licences of all packages that the bundle has code of.
function licenses(inputs) {
  const names = inputs.map((path) => path.match(/node_modules\/((?:@[^/]+\/)?[^/]+)\//)?.[1]);
  const packages = [...new Set(names.filter(Boolean))].sort();
  if (packages.length === 0) throw new Error("the bundle holds no package");
  const texts = packages.map((name) => {
    const folder = `node_modules/${name}`;
    const {version} = JSON.parse(readFileSync(`${folder}/package.json`, "utf8"));
    const file = readdirSync(folder).find((entry) => /^licen[cs]e(\.\w+)?$/i.test(entry));
    if (!file) throw new Error(`${folder} holds no licence`);
    return `${name} ${version}\n\n${readFileSync(`${folder}/${file}`, "utf8")}`;
  });
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
      `constexpr unsigned char kBytes${i}[] = {\n${literal(bytes)}};`,
      `constexpr unsigned char kGzip${i}[] = {\n${literal(gzipSync(bytes, {level: 9}))}};`));
  lines.push("", "}  // namespace", "", "const std::vector<Asset>& Assets() {",
             "  static const std::vector<Asset> assets = {");
  files.forEach(({path, bytes}, i) => lines.push(
      `      {"${path}", "${TYPES[path.split(".").pop()]}", "\\"${digest(bytes)}\\"",`,
      `       {reinterpret_cast<const char*>(kBytes${i}), sizeof kBytes${i}},`,
      `       {reinterpret_cast<const char*>(kGzip${i}), sizeof kGzip${i}}},`));
  lines.push("  };", "  return assets;", "}", "", "}  // namespace cloudservice", "");
  return lines.join("\n");
}

const {files, inputs} = await bundled();
const assets = [
  ...files,
  asset("icon.svg", readFileSync("src/icon.svg")),
  licenses(inputs),
];
const page = {path: "/index.html", bytes: Buffer.from(filled(readFileSync("src/index.html", "utf8"), assets))};
rmSync("dist", {recursive: true, force: true});
mkdirSync("dist/assets", {recursive: true});
for (const {path, bytes} of [page, ...assets]) {
  writeFileSync(`dist${path}`, bytes);
  console.log(`${path} ${bytes.length}`);
}
writeFileSync(process.argv[2], table([page, ...assets]));
