// The factory floor's page, against a real station and a simulated flight.
//
//   station.js AIRCRAFT_FS FLOOR BUILD ROUTES LIST
"use strict";
const { spawn } = require("node:child_process");
const http = require("node:http");
const readline = require("node:readline");
const { inBrowser, ensure, run } = require("./browser.js");

const PATIENCE = { timeout: 20_000 };

function openFloor([sandbox, floor, ...rest]) {
  const child = spawn(sandbox, [floor, ...rest], {
    stdio: ["pipe", "pipe", "inherit"],
    env: { ...process.env, TARN_TIME_SCALE: "4" },
  });
  const address = new Promise((resolve, reject) => {
    readline.createInterface({ input: child.stdout }).on("line", (line) => resolve(line.split(" ")[0]));
    child.on("exit", () => reject(new Error("the floor closed before its station said where it is")));
  });
  return { address, tell: (word) => child.stdin.write(`${word}\n`), close: () => child.stdin.end() };
}

const textOf = (page, selector) => page.$eval(selector, (element) => element.textContent);

function shows(page, selector, text) {
  return page.waitForFunction(
    (where, what) => document.querySelector(where)?.textContent.includes(what),
    PATIENCE, selector, text,
  );
}

async function answers(page, choice) {
  await page.click("article button.stop");
  await page.waitForSelector("dialog[open]");
  await page.click(`dialog button[value="${choice}"]`);
}

async function stopsAFlight(page, floor) {
  await shows(page, ".state", "idle");
  ensure(await page.$eval("article button.stop", (button) => button.disabled), "an idle aircraft can be stopped");
  floor.tell("fly");
  await shows(page, ".state", "flies the list");
  await shows(page, ".motion", "motion 1: hover");
  await page.screenshot({ path: "station.png" });
  await answers(page, "no");
  await new Promise((resolve) => setTimeout(resolve, 1000));
  ensure((await textOf(page, ".state")) === "flies the list", "it stopped although nobody wanted it");
  await answers(page, "stop");
  await shows(page, ".state", "idle");
  await shows(page, ".flights li", "stopped after 0:");
  ensure((await textOf(page, ".answer")) === "", "the stop was refused");
}

async function showsAReport(page) {
  await shows(page, "#reports a", "flight 1.html");
  const link = await page.$eval("#reports a", (anchor) => anchor.href);
  const other = await page.browser().newPage();
  await other.goto(link);
  ensure((await textOf(other, "#it")) === "flown", "the report is not shown");
  await other.close();
}

// A page of another site whose name leads here.
function answerToAnotherName(address) {
  return new Promise((resolve, reject) => {
    const { port } = new URL(address);
    const options = { host: "127.0.0.1", port, path: "/news", headers: { Host: `elsewhere.example:${port}` } };
    http.get(options, (answer) => resolve({ status: answer.resume().statusCode })).on("error", reject);
  });
}

async function refusesOthers(address) {
  const stop = new URL("stop/0/4357", address);
  const codes = await Promise.all([
    fetch(stop, { method: "POST" }),
    fetch(new URL("stop/0/1", address), { method: "POST", headers: { "X-Vela-Station": "stop" } }),
    fetch(new URL("stop/1/4357", address), { method: "POST", headers: { "X-Vela-Station": "stop" } }),
    fetch(new URL("reports/..%2f..%2fetc%2fpasswd", address)),
    fetch(new URL("news", address.replace("localhost", "127.0.0.2"))).catch(() => ({ status: "closed" })),
    answerToAnotherName(address),
  ]);
  const found = codes.map((answer) => answer.status).join(" ");
  ensure(found === "403 404 404 404 closed 403", `strangers got ${found}`);
}

run(async () => {
  const floor = openFloor(process.argv.slice(2));
  try {
    const address = await floor.address;
    await inBrowser(
      (url) => url.startsWith(address),
      async (page, faults) => {
        await page.goto(address);
        await stopsAFlight(page, floor);
        await showsAReport(page);
        await refusesOthers(address);
        floor.tell("silence");
        await shows(page, ".state", "silent");
        const before = [...faults];
        floor.tell("close");
        await shows(page, "#link", "does not answer");
        faults.splice(0, faults.length, ...before); // the broken connection is one
      },
    );
  } finally {
    floor.close();
  }
});
