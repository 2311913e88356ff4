// Measures how long Chromium takes to paint the page of a report, and to zoom its events.
//   node benchmarks/report_page.js REPORT.html [ROUNDS]
"use strict";
const path = require("node:path");

const modules = process.env.QZ_BROWSER || path.resolve(__dirname, "../build/browser");
const { chromium } = require(path.join(modules, "node_modules/playwright-core"));

const median = (values) => values.slice().sort((left, right) => left - right)[Math.floor(values.length / 2)];

async function measure(browser, page) {
  const tab = await browser.newPage();
  await tab.goto("file://" + page);
  await tab.waitForSelector('html[data-events="shown"]', { timeout: 60000 });
  const figures = await tab.evaluate(async () => {
    const paint = performance.getEntriesByName("first-contentful-paint")[0];
    const frame = () => new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve, 0)));
    const zooms = [];
    for (const part of [[0.1, 0.9], [0.4, 0.6], [0.45, 0.5], [0.47, 0.471], [0, 1]]) {
      const start = performance.now();
      window.qzReport.zoomTo(part);
      await frame();
      zooms.push(performance.now() - start);
    }
    return { paint: paint.startTime, zoom: Math.max(...zooms) };
  });
  await tab.close();
  return figures;
}

(async () => {
  const rounds = Number(process.argv[3] || 5);
  const browser = await chromium.launch({ executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
    args: process.getuid() === 0 ? ["--no-sandbox"] : [] });
  const found = [];
  for (let i = 0; i < rounds; ++i) {
    found.push(await measure(browser, path.resolve(process.argv[2])));
  }
  await browser.close();
  console.log(`first paint ${median(found.map((one) => one.paint)).toFixed(0)} ms, ` +
    `slowest zoom ${median(found.map((one) => one.zoom)).toFixed(0)} ms (medians)`);
})();
