// The pages that the tool writes of flights and areas, opened without a network.
//
//   report.js VELA LISTS AREAS
"use strict";
const { execFileSync, spawnSync } = require("node:child_process");
const fs = require("node:fs");
const path = require("node:path");
const { inBrowser, ensure, run } = require("./browser.js");

const [vela, lists, areas] = process.argv.slice(2);
const tool = (...words) => execFileSync(vela, words, { encoding: "utf8", maxBuffer: 1 << 28 });

// A name that would end a script and begin a tag, if a page took it for its own text.
const HOSTILE = "hostile</script><img src=x onerror=alert(1)>.ulg";

// For each plot, how many of its pixels are drawn and darker than the grid.
function drawnPixels(page) {
  return page.$$eval("canvas", (all) => all.map((canvas) => {
    const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
    let drawn = 0;
    for (let i = 0; i < data.length; i += 4) if (data[i + 3] > 128 && data[i] < 0xb0) drawn++;
    return drawn;
  }));
}

function shapes(page) {
  return page.$$eval(".map svg path", (all) => all.filter((one) => one.getBoundingClientRect().width > 2).length);
}

// `more` looks further at the page. Only the file itself may be asked for.
function opens(file, plots, leastShapes, more = async () => {}) {
  const address = `file://${path.resolve(file)}`;
  return inBrowser((url) => url === address, async (page) => {
    await page.setOfflineMode(true);
    await page.goto(address);
    await new Promise((resolve) => setTimeout(resolve, 200));
    const drawn = await drawnPixels(page);
    ensure(drawn.length === plots && drawn.every((pixels) => pixels > 500), `${file}: plots with ${drawn} pixels`);
    ensure((await shapes(page)) >= leastShapes, `${file}: the map is empty`);
    await more(page);
    const pdf = Buffer.from(await page.pdf());
    ensure(pdf.subarray(0, 5).toString() === "%PDF-" && pdf.length > 20000, `${file}: ${pdf.length} bytes of PDF`);
  });
}

function sameRow(saved, all, what) {
  saved.split(",").forEach((cell, i) => {
    const right = Number(all.split(",")[i]);
    ensure(Math.abs(cell - right) <= 1e-4 * Math.abs(right), `${what}: ${cell} is ${right} in the record`);
  });
}

async function savesTheTable(page) {
  fs.rmSync("saved", { recursive: true, force: true });
  const session = await page.browser().target().createCDPSession();
  await session.send("Browser.setDownloadBehavior", { behavior: "allow", downloadPath: path.resolve("saved") });
  await page.click("#data button");
  for (let i = 0; i < 100 && !fs.existsSync("saved/steps.csv"); i++) await new Promise((resolve) => setTimeout(resolve, 50));
  const saved = fs.readFileSync("saved/steps.csv", "utf8").trimEnd().split("\n");
  const all = tool("fc", "log", "steps.ulg", "--csv", "-").trimEnd().split("\n");
  ensure(saved[0] === all[0] && saved.length > 5000, "the table has other columns, or few rows");
  const every = Math.ceil((all.length - 1) / (saved.length - 1));
  for (const row of [1, 100, saved.length - 1]) sameRow(saved[row], all[(row - 1) * every + 1], `row ${row}`);
}

async function showsSteps(page) {
  const cells = await page.$$eval(".step tr td:nth-child(3)", (all) => all.map((one) => parseFloat(one.textContent)));
  ensure(cells.length === 6 * 4 && cells.every((rise) => rise > 0.2 && rise < 1.4), `rise times ${cells}`);
  await savesTheTable(page);
}

async function showsTheName(page) {
  const name = await page.$eval(".record", (one) => one.textContent);
  ensure(name.endsWith(HOSTILE), `the record is called ${name}`);
}

function printsByItself() {
  tool("afqt", "report", "steps.ulg", "-o", "printed.html", "--pdf", "printed.pdf", "--png", "printed.png");
  ensure(fs.readFileSync("printed.pdf").subarray(0, 5).toString() === "%PDF-", "printed.pdf is no PDF");
  ensure(fs.readFileSync("printed.png").readUInt32BE(20) > 2500, "the picture is not as high as the page");
  const words = ["afqt", "report", "steps.ulg", "-o", "printed.html", "--pdf", "x.pdf"];
  const alone = spawnSync(vela, words, { env: { PATH: "/nowhere" }, encoding: "utf8" });
  ensure(alone.status === 4 && alone.stderr.includes("apt-get install chromium"), `without Chromium: ${alone.stderr}`);
}

run(async () => {
  fs.mkdirSync(path.dirname(HOSTILE), { recursive: true });
  tool("fly", `${lists}/steps.json`, "--wind", "2", "--log", "steps.ulg");
  tool("fly", `${lists}/sweeps.json`, "--log", HOSTILE);
  tool("afqt", "report", "steps.ulg", "-o", "steps.html");
  tool("afqt", "report", HOSTILE, "--compare", HOSTILE, "-o", "sweeps.html");
  tool("tfr", "map", areas, "--geojson", "-o", "map.html", "--at", "48.137154", "11.576124", "--record", "steps.ulg");
  for (const file of ["steps.html", "sweeps.html"]) ensure(fs.statSync(file).size < 5 << 20, `${file} is too large`);
  await opens("steps.html", 7 + 6, 3, showsSteps);
  await opens("sweeps.html", 7 + 4 * 3, 3, showsTheName);
  await opens("map.html", 0, 6);
  printsByItself();
});
