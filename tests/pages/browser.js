// A browser for one check: it fails on everything that a page should not do.
"use strict";
const fs = require("node:fs");
const os = require("node:os");
const path = require("node:path");
const puppeteer = require("puppeteer-core");

// Runs `check(page)` and leaves nothing behind. `allowed` says which addresses the page may ask for.
async function inBrowser(allowed, check) {
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), "pages-"));
  const browser = await puppeteer.launch({
    executablePath: "/usr/bin/chromium",
    userDataDir: profile,
    args: process.getuid() === 0 ? ["--no-sandbox"] : [],
  });
  const faults = [];
  try {
    const page = await browser.newPage();
    await page.setViewport({ width: 1200, height: 900 });
    page.on("console", (message) => {
      if (["error", "warn"].includes(message.type())) faults.push(`console: ${message.text()} ${message.location().url ?? ""}`);
    });
    page.on("pageerror", (error) => faults.push(`script: ${error.message}`));
    page.on("request", (request) => {
      const url = request.url();
      if (!allowed(url) && !/^(data|blob):/.test(url)) faults.push(`asks for ${url}`);
    });
    await check(page, faults);
  } finally {
    await browser.close();
    fs.rmSync(profile, { recursive: true, force: true });
  }
  if (faults.length > 0) throw new Error(faults.join("\n"));
}

function ensure(condition, what) {
  if (!condition) throw new Error(what);
}

// The check of a file: `main` rejects when something is wrong.
function run(main) {
  main().then(
    () => process.exit(0),
    (error) => {
      console.error(error.stack ?? error);
      process.exit(1);
    },
  );
}

module.exports = { inBrowser, ensure, run };
