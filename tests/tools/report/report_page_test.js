// Opens reports of simulated hosts in Chromium, and compares what they show with what the verbs print with --json.
"use strict";
const assert = require("node:assert/strict");
const { execFileSync, spawnSync } = require("node:child_process");
const fs = require("node:fs");
const os = require("node:os");
const path = require("node:path");
const { after, before, test } = require("node:test");

const root = path.resolve(__dirname, "../../..");
const modules = process.env.QZ_BROWSER || path.join(root, "build/browser");
const { chromium } = require(path.join(modules, "node_modules/playwright-core"));
const axe = fs.readFileSync(path.join(modules, "node_modules/axe-core/axe.min.js"), "utf8");
const programs = process.env.QZ_BUILD ? path.join(process.env.QZ_BUILD, "bin") : path.join(root, "build/coverage/bin");
const agent = process.env.QZAGENT || path.join(programs, "qzagent");
const simulator = process.env.QZSIM || path.join(programs, "qzsim");

const folder = fs.mkdtempSync(path.join(os.tmpdir(), "report-"));
const messages = [];
const requests = [];
let browser;

const run = (program, args) => execFileSync(program, args, { encoding: "utf8", timeout: 60000, stdio: ["ignore", "pipe", "pipe"], maxBuffer: 1 << 28 });

/** Writes a bundle of a simulated host and its report. */
function report(name, scenario) {
  const files = { scenario: path.join(folder, name + ".toml"), bundle: path.join(folder, name + ".pcapng"),
    page: path.join(folder, name + ".html") };
  fs.writeFileSync(files.scenario, scenario);
  run(simulator, ["--scenario", files.scenario, "--", agent, "bundle", "--output", files.bundle, "--seconds", "1"]);
  run(agent, ["report", "--output", files.page, files.bundle]);
  return files;
}

const documentIn = (files, name) => JSON.parse(run(agent, ["show", "--document", name, files.bundle]));

async function open(page, scheme = "light") {
  const context = await browser.newContext({ colorScheme: scheme, viewport: { width: 1280, height: 900 } });
  const tab = await context.newPage();
  tab.on("console", (message) => messages.push(message.text()));
  tab.on("pageerror", (error) => messages.push(String(error)));
  tab.on("request", (request) => requests.push(request.url()));
  await tab.goto("file://" + page);
  return tab;
}

const numberIn = (text) => Number(text.replaceAll(",", ""));
const rowsOf = (tab, label) => tab.$$eval(`[aria-label="${label} table"] tbody tr`, (rows) =>
  rows.map((row) => [...row.cells].map((cell) => cell.textContent)));

/** A host with two fabrics, counters, events of two boards, and a port that is down. */
const busyHost = `
[[adapter]]
name = "example-fc-0"
model = "EX-2200"
  [[adapter.port]]
  port_wwn = "10:00:00:00:c9:00:00:01"
  fabric_name = "10:00:00:60:69:00:00:01"
  [adapter.port.statistics]
  tx_frames = 1234567
  link_failure_count = 3
  [adapter.port.statistics_per_second]
  tx_frames = 100000
    [[adapter.port.remote]]
    port_wwn = "50:00:00:00:ab:00:00:01"
    node_wwn = "50:00:00:00:ab:00:01:00"
    luns = 120
    [[adapter.port.remote]]
    port_wwn = "50:00:00:00:ab:00:00:02"
    node_wwn = "50:00:00:00:ab:00:02:00"
    luns = 3
  [[adapter.port]]
  port_wwn = "10:00:00:00:c9:00:00:02"
  fabric_name = "10:00:00:60:69:00:00:02"
  state = "LINKDOWN"
  [[adapter.port]]
  port_wwn = "10:00:00:00:c9:00:00:03"
  fabric_name = "10:00:00:60:69:00:00:02"
    [[adapter.port.remote]]
    port_wwn = "50:00:00:00:ab:00:00:03"
    node_wwn = "50:00:00:00:ab:00:01:00"
    luns = 120
[diagnostics]
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:00"
second_wwn = "10:00:00:00:c9:00:00:01"
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:01"
second_wwn = "10:00:00:00:c9:00:00:02"
[[diagnostics.event]]
board = 0
category = 2
subcategory = 7
count = 60
rate = 200
size = 64
[[diagnostics.event]]
board = 1
category = 3
subcategory = 1
count = 40
rate = 200
`;

/** Texts that would do harm as markup, close the data, or reorder the line. */
const hostile = '<script>alert(1)</script><img src=x onerror=alert(2)>&quot;"\'</script>';
const hostileHost = `
[[adapter]]
name = ${JSON.stringify(hostile)}
model = "left\\u202Etfel"
  [[adapter.port]]
  port_wwn = "10:00:00:00:c9:00:00:01"
    [[adapter.port.remote]]
    port_wwn = "50:00:00:00:ab:00:00:01"
    luns = 2
`;

/** More target ports than a table shows at first, one of them without LUNs; more counters than a sheet has room for. */
const wideHost = `
[[adapter]]
name = "${"long".repeat(60)}"
  [[adapter.port]]
  port_wwn = "10:00:00:00:c9:00:00:01"
  [adapter.port.statistics]
  ${["seconds_since_last_reset", "tx_frames", "tx_words", "rx_frames", "rx_words", "lip_count", "nos_count", "error_frames",
    "dumped_frames", "link_failure_count", "loss_of_sync_count", "loss_of_signal_count", "invalid_crc_count"]
    .map((name) => name + " = 7").join("\n")}
${Array.from({ length: 102 }, (ignored, at) => `[[adapter.port.remote]]
  port_wwn = "50:00:00:00:ab:00:00:${at.toString(16).padStart(2, "0")}"
  luns = ${at === 0 ? 0 : 1}`).join("\n")}
`;

/** Writes the report of a file with this text. */
function reportOf(name, text) {
  const [input, page] = [path.join(folder, name), path.join(folder, name + ".html")];
  fs.writeFileSync(input, text);
  run(agent, ["report", "--output", page, input]);
  return page;
}

let busy;
let wide;

before(async () => {
  browser = await chromium.launch({ executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
    args: process.getuid() === 0 ? ["--no-sandbox"] : [] });
  busy = report("busy", busyHost);
  wide = report("wide", wideHost);
});

after(async () => {
  await browser?.close();
  fs.rmSync(folder, { recursive: true });
});

test("the summary has the numbers of the documents", async () => {
  const tab = await open(busy.page);
  const counts = Object.fromEntries(await tab.$$eval("[data-count]", (all) =>
    all.map((one) => [one.dataset.count, one.textContent])));
  const adapters = documentIn(busy, "inventory").adapters;
  const ports = adapters.flatMap((adapter) => adapter.ports);
  const remotes = ports.flatMap((port) => port.remote_ports || []);
  const summary = JSON.parse(run(agent, ["show", "--summary", "--json", busy.bundle]));
  const check = JSON.parse(spawnSync(agent, ["check", "--json", busy.bundle], { encoding: "utf8" }).stdout);
  assert.ok(check.findings.length > 0);
  assert.equal(summary.events, 100);
  assert.deepEqual(counts, { Adapters: String(adapters.length), Ports: String(ports.length), Targets: "2",
    "LUNs on paths": String(remotes.reduce((sum, remote) => sum + remote.luns.length, 0)),
    Events: String(summary.events), Findings: String(check.findings.length) });
  const findings = await rowsOf(tab, "Findings");
  assert.deepEqual(findings, check.findings.map((one) =>
    [one.severity, one.rule, one.where, one.what, one.why, one.next]));
});

test("the statistics have the counters and their rise", async () => {
  const tab = await open(busy.page);
  const counters = (name) => documentIn(busy, name).adapters[0].ports[0].counters;
  const [first, last] = [counters("statistics-start"), counters("statistics-end")];
  const names = await tab.$$eval('[aria-label="Port statistics table"] thead th', (all) => all.map((one) => one.textContent));
  const [row] = await rowsOf(tab, "Port statistics");
  const cell = row[names.indexOf("tx frames")];
  assert.equal(numberIn(cell.split(" ")[0]), last.tx_frames);
  assert.equal(numberIn(cell.match(/\(\+(.*)\)/)[1]), last.tx_frames - first.tx_frames);
  assert.equal(numberIn(row[names.indexOf("link failure count")]), last.link_failure_count);
});

test("the latencies are those of the document", async () => {
  const tab = await open(busy.page);
  const targets = documentIn(busy, "latency").adapters.flatMap((adapter) => adapter.target_ports);
  const rows = await rowsOf(tab, "Latencies of target ports");
  assert.deepEqual(rows.map((row) => [row[1], numberIn(row[2]), Number(row[6])]), targets.map((target) =>
    [target.port_wwn, target.latencies.io_count, Number(target.latencies.latency_us.p99.toFixed(1))]));
  const slowest = targets.reduce((left, right) =>
    (left.latencies.latency_us.p99 >= right.latencies.latency_us.p99 ? left : right));
  const buckets = await tab.$$eval("#histogram tbody tr", (all) => all.map((row) => Number(row.cells[1].textContent)));
  assert.deepEqual(buckets, slowest.latencies.record.buckets.map((bucket) => bucket.count));
  assert.equal(await tab.$$eval("#heat tbody tr", (all) => all.length), targets.length);
});

test("the events are counted by board and category, and a zoom counts those in its range", async () => {
  const tab = await open(busy.page);
  await tab.waitForSelector('html[data-events="shown"]');
  const summary = JSON.parse(run(agent, ["show", "--summary", "--json", busy.bundle]));
  const rows = (await rowsOf(tab, "Events by board and category")).map((row) => row.slice(2, 5).map(numberIn)).sort();
  assert.deepEqual(rows, summary.counts.map((one) => [one.board, one.category, one.events]).sort());
  assert.match(await tab.textContent("#range"), /: 100 events$/);
  await tab.evaluate(() => window.qzReport.zoomTo([0, 0.5]));
  const lines = run(agent, ["show", "--json", busy.bundle]).trim().split("\n").map(JSON.parse);
  const seconds = (line) => BigInt(Date.parse(line.time.slice(0, 19) + "Z")) * 1000000n + BigInt(line.time.slice(20, 29));
  const times = lines.map(seconds).sort((left, right) => (left < right ? -1 : 1));
  const half = times.filter((time) => (time - times[0]) * 2n <= times[99] - times[0]).length;
  assert.ok(half > 0 && half < 100);
  const counted = numberIn((await tab.textContent("#range")).match(/: (\S+) event/)[1]);
  assert.equal(counted, half);
  await tab.click('button:text-is("Whole time")');
  assert.match(await tab.textContent("#range"), /: 100 events$/);
  await tab.focus("#chart");
  await tab.keyboard.press("+");
  const zoomed = await tab.textContent("#range");
  assert.ok(numberIn(zoomed.match(/: (\S+) event/)[1]) < 100, zoomed);
  await tab.keyboard.press("0");
  assert.match(await tab.textContent("#range"), /: 100 events$/);
  const box = await (await tab.$("#chart .u-over")).boundingBox();
  await tab.mouse.move(box.x + box.width * 0.5, box.y + 20);
  await tab.mouse.down();
  await tab.mouse.move(box.x + box.width * 0.75, box.y + 40);
  await tab.mouse.up();
  const dragged = numberIn((await tab.textContent("#range")).match(/: (\S+) event/)[1]);
  assert.ok(dragged > 0 && dragged < 60, String(dragged));
  await tab.click('button:text-is("Whole time")');
  await tab.uncheck('input[aria-label="Show board 0, category 2"]');
  assert.match(await tab.textContent("#range"), /: 100 events; 1 of 2 kinds drawn$/);
});

/** Writes the report of events, which are {time, board, category}. */
const reportOfEvents = (name, events) => reportOf(name, events.map((event) =>
  JSON.stringify({ subcategory: 1, payload: "", ...event }) + "\n").join(""));

test("the text counts the events of all kinds when the chart draws eight of them", async () => {
  const events = Array.from({ length: 24 }, (ignored, at) => ({ time: `2026-01-01T00:00:${at + 10}.000000000Z`, board: 0,
    category: at % 12 }));
  const tab = await open(reportOfEvents("kinds", events));
  await tab.waitForSelector('html[data-events="shown"]');
  assert.match(await tab.textContent("#range"), /: 24 events; 8 of 12 kinds drawn$/);
  assert.match(await tab.getAttribute("#chart", "aria-label"), /: 24 events; 8 of 12 kinds drawn$/);
  const counts = await tab.$$eval("#binned tbody td", (all) => all.map((one) => Number(one.textContent)));
  assert.equal(counts.reduce((sum, one) => sum + one, 0), 24);
  assert.equal(await tab.$$eval('#events input[type="checkbox"]:checked', (all) => all.length), 8);
  for (const box of await tab.$$('#events input[type="checkbox"]:not(:checked)')) {
    await box.check();
  }
  assert.match(await tab.textContent("#range"), /: 24 events$/);
});

test("a part of the topology filters ports, latencies and LUNs by click and by key", async () => {
  const tab = await open(busy.page);
  const ports = async () => (await rowsOf(tab, "Ports")).map((row) => row[1]);
  assert.equal((await ports()).length, 3);
  await tab.click('g[aria-label^="fabric 10:00:00:60:69:00:00:02"]');
  assert.deepEqual(await ports(), ["10:00:00:00:c9:00:00:02", "10:00:00:00:c9:00:00:03"]);
  assert.deepEqual([...new Set((await rowsOf(tab, "LUNs")).map((row) => row[1]))], ["10:00:00:00:c9:00:00:03"]);
  assert.match(await tab.textContent("#filter"), /fabric 10:00:00:60:69:00:00:02/);
  await tab.click("#filter button");
  assert.equal((await ports()).length, 3);
  await tab.focus('g[aria-label^="target 50:00:00:00:ab:00:02:00"]');
  await tab.keyboard.press("Enter");
  assert.equal((await rowsOf(tab, "LUNs")).length, 3);
  assert.deepEqual((await rowsOf(tab, "Latencies of target ports")).map((row) => row[1]), ["50:00:00:00:ab:00:00:02"]);
  assert.equal(await tab.getAttribute('g[aria-label^="target 50:00:00:00:ab:00:02:00"]', "aria-pressed"), "true");
});

test("a part of the topology shows what is connected with it, and nothing else", async () => {
  const tab = await open(busy.page);
  const shown = async () => ({
    ports: (await rowsOf(tab, "Ports")).map((row) => row[1].slice(-2)),
    statistics: (await rowsOf(tab, "Port statistics")).map((row) => row[1].slice(-2)),
    latencies: (await rowsOf(tab, "Latencies of target ports")).map((row) => row[1].slice(-2)),
    heat: (await tab.$$eval("#heat tbody th", (all) => all.map((one) => one.textContent.slice(-2)))).sort(),
    histogram: (await tab.$$eval("#histogram-target option", (all) => all.map((one) => one.textContent.slice(21, 23)))).sort(),
  });
  const of = (ports, targets) => ({ ports, statistics: ports, latencies: targets, heat: targets, histogram: targets });
  const parts = [["adapter example-fc-0", of(["01", "02", "03"], ["01", "02", "03"])],
    ["port 10:00:00:00:c9:00:00:01", of(["01"], ["01", "02"])],
    ["port 10:00:00:00:c9:00:00:02", of(["02"], [])],
    ["fabric 10:00:00:60:69:00:00:02", of(["02", "03"], ["03"])],
    ["target 50:00:00:00:ab:00:01:00", of(["01", "03"], ["01", "03"])],
    ["target 50:00:00:00:ab:00:02:00", of(["01"], ["02"])]];
  for (const [name, expected] of parts) {
    await tab.click(`g[aria-label^="${name}"]`);
    assert.deepEqual(await shown(), expected, name);
    if (expected.latencies.length === 0) {
      assert.equal(await tab.textContent("#histogram caption"), "No target port");
      assert.equal(await tab.$("#histogram tbody tr"), null);
    }
    await tab.focus("#filter button");
    await tab.keyboard.press("Enter");
    assert.match(await tab.evaluate(() => document.activeElement.getAttribute("aria-label")), new RegExp("^" + name));
  }
  assert.deepEqual(await shown(), of(["01", "02", "03"], ["01", "02", "03"]));
});

test("a target without LUNs counts, and a button shows all target ports over time", async () => {
  const tab = await open(wide.page);
  assert.equal(await tab.textContent('[data-count="Targets"]'), "102");
  assert.equal(await tab.$$eval("#heat tbody tr", (all) => all.length), 40);
  await tab.click('button:text-is("Show all 101 target ports")');
  assert.equal(await tab.$$eval("#heat tbody tr", (all) => all.length), 101);
});

test("long names keep their cells, and the page its width", async () => {
  const tab = await open(wide.page);
  await tab.setViewportSize({ width: 400, height: 800 });
  assert.equal(await tab.evaluate(() => document.documentElement.scrollWidth), 400);
  assert.deepEqual(await tab.$$eval("#heat tbody th", (all) => all.filter((one) => one.scrollWidth > one.clientWidth + 1)), []);
});

test("a zoom moves to the end of the time and stays as long as it is", async () => {
  const tab = await open(busy.page);
  await tab.waitForSelector('html[data-events="shown"]');
  const range = async () => (await tab.textContent("#range")).match(/^(\S+ \S+) to (\S+ \S+) UTC/).slice(1).map((text) =>
    Date.parse(text.replace(" ", "T") + "Z"));
  const whole = await range();
  await tab.click('button:text-is("Zoom in")');
  const zoomed = await range();
  for (const [button, end] of [["Later", 1], ["Earlier", 0]]) {
    for (let i = 0; i < 6; ++i) {
      await tab.click(`button:text-is("${button}")`);
    }
    const moved = await range();
    assert.ok(Math.abs(moved[1] - moved[0] - (zoomed[1] - zoomed[0])) <= 2, button);
    assert.ok(Math.abs(moved[end] - whole[end]) <= 2, button);
  }
});

for (const milliseconds of [5, 21]) {
  test(`no event is lost after zooms and moves in ${milliseconds} ms`, async () => {
    const time = (at) => `2026-01-01T00:00:00.${String(at).padStart(3, "0")}000000Z`;
    const tab = await open(reportOfEvents("moves" + milliseconds, Array.from({ length: milliseconds + 1 }, (ignored, at) =>
      ({ time: time(at), board: 0, category: 2 }))));
    await tab.waitForSelector('html[data-events="shown"]');
    const whole = await tab.textContent("#range");
    assert.ok(whole.endsWith(`: ${milliseconds + 1} events`));
    for (const buttons of [["Zoom in", "Later", "Zoom out"], ["Zoom in", "Earlier", "Zoom out"],
      ["Zoom in", "Zoom in", "Later", "Later", "Zoom out", "Zoom out"]]) {
      for (const button of buttons) {
        await tab.click(`button:text-is("${button}")`);
      }
      assert.equal(await tab.textContent("#range"), whole, buttons.join());
      await tab.click('button:text-is("Whole time")');
    }
  });
}

test("times far from each other are exact to the millisecond", async () => {
  const times = ["2026-04-11T00:00:00.000000000Z", "2026-01-01T00:00:00.000000000Z", "1970-01-01T00:00:00.000000000Z",
    "2500-01-01T00:00:00.000000000Z", "2026-01-01T00:00:01.001000000Z"];
  for (const order of [times, times.slice().reverse(), times.slice(0, 2), times.slice(1, 3)]) {
    const tab = await open(reportOfEvents("times", order.map((time) => ({ time, board: 0, category: 2 }))));
    await tab.waitForSelector('html[data-events="shown"]');
    const sorted = order.slice().sort().map((time) => time.slice(0, 23).replace("T", " "));
    const [first, last] = (await tab.textContent("#range")).match(/^(\S+ \S+) to (\S+ \S+) UTC: \S+ events$/).slice(1);
    assert.deepEqual([first, last], [sorted[0], sorted[sorted.length - 1]]);
  }
});

test("boards with different clocks have their own times", async () => {
  const events = Array.from({ length: 40 }, (ignored, at) => ({ board: at % 2, category: 2,
    time: new Date(Date.UTC(2026, 0, at % 2 === 0 ? 1 : 5) + at * 1000).toISOString().replace("Z", "000000Z") }));
  const tab = await open(reportOfEvents("clocks", events));
  await tab.waitForSelector('html[data-events="shown"]');
  assert.equal(await tab.textContent("#range"), "2026-01-01 00:00:00.000 to 2026-01-05 00:00:39.000 UTC: 40 events");
  await tab.evaluate(() => window.qzReport.zoomTo([0, 0.01]));
  assert.match(await tab.textContent("#range"), /: 20 events$/);
});

test("a counter that a double would round is exact, and so is its rise", async () => {
  const text = (value, second) => JSON.stringify({ ...documentIn(busy, "statistics-end"),
    generated_at: `2030-01-01T00:00:0${second}Z` }).replace(/"tx_frames":\d+/, '"tx_frames":' + value);
  const [first, last] = ["first", "last"].map((name) => path.join(folder, name));
  fs.writeFileSync(first, text("9007199254740992", 1));
  fs.writeFileSync(last, text("18446744073709551615", 2));
  const page = path.join(folder, "exact.html");
  run(agent, ["report", "--output", page, busy.bundle, first, last]);
  // The statistics of the bundle are older.
  const tab = await open(page);
  const names = await tab.$$eval('[aria-label="Port statistics table"] thead th', (all) => all.map((one) => one.textContent));
  const cell = (await rowsOf(tab, "Port statistics"))[0][names.indexOf("tx frames")];
  const before = documentIn(busy, "statistics-start").adapters[0].ports[0].counters.tx_frames;
  assert.equal(cell.replaceAll(",", ""), `18446744073709551615 (+${18446744073709551615n - BigInt(before)})`);
});

test("damage in one part of the data leaves the other sections", async () => {
  const page = path.join(folder, "damaged.html");
  const text = fs.readFileSync(busy.page, "utf8");
  assert.ok(text.includes('"latency_looks":['));
  fs.writeFileSync(page, text.replace('"latency_looks":[', '"latency_looks":[5,'));
  const tab = await open(page);
  await tab.waitForSelector('html[data-events="shown"]');
  assert.match(await tab.textContent("#latency .error"), /^The rest of this section cannot be shown: /);
  assert.equal((await rowsOf(tab, "Ports")).length, 3);
  assert.equal((await rowsOf(tab, "LUNs")).length, 100);
});

test("a single dropped event is named in the singular", async () => {
  const page = path.join(folder, "dropped.html");
  const text = fs.readFileSync(busy.page, "utf8");
  assert.ok(text.includes('"drops":[]'));
  fs.writeFileSync(page, text.replace('"drops":[]', '"drops":[{"before":0,"source":0,"count":1}]'));
  const tab = await open(page);
  await tab.waitForSelector('html[data-events="shown"]');
  assert.equal(await tab.textContent("#events .warning"), "1 event was dropped before the capture.");
});

test("invisible characters look as on a terminal", async () => {
  const ends = [0xad, 0x34f, 0x61c, 0x115f, 0x1160, 0x17b4, 0x17b5, 0x180b, 0x180f, 0x200b, 0x200f, 0x2028, 0x202e, 0x2060,
    0x206f, 0x3164, 0xfe00, 0xfe0f, 0xfeff, 0xffa0, 0xfff9, 0xfffb, 0x1bca0, 0x1bca3, 0x1d173, 0x1d17a, 0xe0001, 0xe0041,
    0xe01ef, 0x41, 0xe9, 0x4e2d];
  const name = String.fromCodePoint(...ends) + "\\x41 \\u{41} \\n";
  const toml = Array.from(name, (one) => "\\U" + one.codePointAt(0).toString(16).padStart(8, "0")).join("");
  const files = report("invisible",
    `[[adapter]]\nname = "a"\nmodel = "${toml}"\n[[adapter.port]]\nport_wwn = "10:00:00:00:c9:00:00:01"\n`);
  const picture = execFileSync(agent, ["topology", "--svg", files.bundle],
    { encoding: "utf8", env: { ...process.env, LC_ALL: "C.UTF-8" } });
  const expected = picture.match(/<title>adapter a: (.*)<\/title>/)[1];
  assert.ok(expected.includes("\\u{e0041}"));
  const tab = await open(files.page);
  assert.equal((await rowsOf(tab, "Ports"))[0][7], expected);
});

test("the LUN table sorts by number, filters by words and shows all rows", async () => {
  const tab = await open(busy.page);
  const luns = async () => (await rowsOf(tab, "LUNs")).map((row) => Number(row[3]));
  assert.equal((await luns()).length, 100);
  await tab.click('#luns button:has-text("Show all 243 rows")');
  assert.equal((await luns()).length, 243);
  const heading = '[aria-label="LUNs table"] thead button:text-is("LUN")';
  await tab.click(heading);
  await tab.click(heading);
  const sorted = await luns();
  assert.deepEqual(sorted, [...sorted].sort((left, right) => right - left));
  assert.equal(sorted[0], 119);
  assert.equal(await tab.getAttribute('[aria-label="LUNs table"] th[aria-sort]', "aria-sort"), "descending");
  await tab.fill("#lun-search", "ab:00:00:03 lun-11");
  assert.deepEqual(await luns(), [119, 118, 117, 116, 115, 114, 113, 112, 111, 110, 11]);
});

test("hostile texts are shown as text", async () => {
  const files = report("hostile", hostileHost);
  const tab = await open(files.page);
  tab.on("dialog", (dialog) => messages.push("dialog " + dialog.message()));
  const [row] = await rowsOf(tab, "Ports");
  assert.equal(row[0], hostile);
  assert.equal(await tab.$$eval("img", (all) => all.length), 0);
  assert.equal(await tab.$$eval("script", (all) => all.length), 2);
  assert.equal(row[7], "left\\u{202e}tfel");
  assert.equal((await tab.textContent("body")).includes("\u202e"), false);
});

test("the policy of the page forbids other scripts and all loading", async () => {
  const tab = await open(busy.page);
  const refused = await tab.evaluate(() => new Promise((resolve) => {
    const found = [];
    document.addEventListener("securitypolicyviolation", (event) => {
      found.push(event.effectiveDirective);
      if (found.length === 3) {
        resolve(found.sort());
      }
    });
    const script = document.createElement("script");
    script.textContent = "window.harmed = true";
    document.body.append(script);
    const image = document.createElement("img");
    image.src = "https://example.invalid/a.png";
    document.body.append(image);
    fetch("https://example.invalid/b").catch(() => {});
  }));
  assert.deepEqual(refused, ["connect-src", "img-src", "script-src-elem"]);
  assert.equal(await tab.evaluate(() => window.harmed), undefined);
  messages.length = 0;  // Chromium reports the refusals on the console.
  requests.splice(0, requests.length, ...requests.filter((url) => !url.includes("example.invalid")));
});

for (const scheme of ["light", "dark"]) {
  test(`axe finds no fault in ${scheme} colours`, async () => {
    const tab = await open(busy.page, scheme);
    await tab.waitForSelector('html[data-events="shown"]');
    await tab.fill("#lun-search", "lun-11");
    await tab.$$eval("details", (all) => all.forEach((one) => { one.open = true; }));
    await tab.evaluate(axe);
    const result = await tab.evaluate(() => window.axe.run(document, {
      runOnly: ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa", "best-practice"] }));
    assert.deepEqual(result.violations.map((one) => [one.id, one.nodes.map((node) => node.html.slice(0, 200))]), []);
    assert.ok(result.passes.some((one) => one.id === "color-contrast"));
  });
}

test("paper has all rows and columns, and no buttons", async () => {
  const tab = await open(wide.page);
  await tab.setViewportSize({ width: 700, height: 900 });  // about the width of a sheet
  await tab.emulateMedia({ media: "print" });
  await tab.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
  assert.equal((await rowsOf(tab, "Latencies of target ports")).length, 101);
  assert.equal((await rowsOf(tab, "LUNs")).length, 101);
  assert.equal(await tab.$$eval("#heat tbody tr", (all) => all.length), 101);
  assert.equal((await rowsOf(tab, "Port statistics by counter")).length, 13);
  assert.equal(await tab.isVisible('[aria-label="Port statistics by counter table"]'), true);
  assert.equal(await tab.isVisible('[aria-label="Port statistics table"]'), false);
  assert.equal(await tab.$$eval("details:not([open])", (all) => all.length), 0);
  assert.deepEqual(await tab.$$eval("button", (all) => all.filter((one) => one.offsetParent !== null).length), 0);
  assert.equal(await tab.textContent('[aria-label="LUNs table"] thead th:last-child'), "Reported");
  assert.equal(await tab.evaluate(() => document.documentElement.scrollWidth), 700);
  assert.deepEqual(await tab.$$eval("table", (all) => all.map((one) => one.getBoundingClientRect().right)
    .filter((right) => right > 700)), []);
  await tab.evaluate(() => window.dispatchEvent(new Event("afterprint")));
  assert.equal((await rowsOf(tab, "Latencies of target ports")).length, 100);
  assert.equal(await tab.$$eval('[aria-label="LUNs table"] thead button', (all) => all.length), 11);
});

test("paper has the colours of bars, heat map and keys", async () => {
  const tab = await open(busy.page);
  await tab.waitForSelector('html[data-events="shown"]');
  await tab.emulateMedia({ media: "print" });
  // Otherwise a browser prints these without their colours.
  assert.deepEqual(await tab.$$eval(".bar, .key, table.heat td", (all) => [...new Set(all.map((one) =>
    one.className.split("-")[0] + " " + getComputedStyle(one).printColorAdjust))].sort()), ["bar exact", "heat exact", "key exact"]);
});

test("printing prints all rows and shows the screen again", async () => {
  const tab = await open(busy.page);
  await tab.evaluate(() => window.addEventListener("beforeprint", () => {
    window.printed = document.querySelectorAll('[aria-label="LUNs table"] tbody tr').length;
  }));
  await tab.pdf();
  assert.equal(await tab.evaluate(() => window.printed), 243);
  assert.equal((await rowsOf(tab, "LUNs")).length, 100);
});

test("no page wrote to the console or requested anything but itself", () => {
  assert.deepEqual(messages, []);
  assert.deepEqual(requests.filter((url) => !url.startsWith("file://" + folder)), []);
  assert.ok(requests.length > 0);
});
