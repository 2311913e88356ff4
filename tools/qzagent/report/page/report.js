// Shows the data of a report. Texts of devices reach the page only as text nodes.
(function () {
  "use strict";

  /** Keeps a number exact that a double would round. */
  function exactly(key, value, context) {
    const isRounded = Number.isInteger(value) && !Number.isSafeInteger(value);
    return isRounded && context && /^\d+$/.test(context.source) ? BigInt(context.source) : value;
  }

  const json = document.getElementById("report-data").textContent;
  // Few pages have such numbers, and the function costs time.
  const data = JSON.parse(json, /[:,[]\d{16}/.test(json) ? exactly : undefined);
  const documents = data.documents;
  const integers = new Intl.NumberFormat("en");
  // The same as in Printable.cpp.
  const hidden = new RegExp("\\\\(?=[xu])|[\\u0000-\\u001f\\u007f-\\u009f\\u00ad\\u034f\\u061c\\u115f\\u1160" +
    "\\u17b4\\u17b5\\u180b-\\u180f\\u200b-\\u200f\\u2028-\\u202e\\u2060-\\u206f\\u3164\\ufe00-\\ufe0f\\ufeff\\uffa0\\ufff0-\\ufffb" +
    "\\u{1bca0}-\\u{1bca3}\\u{1d173}-\\u{1d17a}\\u{e0000}-\\u{e0fff}\\p{Cs}]", "gu");

  /** What has to change for the paper and back: functions that take whether the page is printed. */
  const changesForPrint = [];

  // ---- Elements

  /** Makes characters visible that would hide or reorder text, as the terminal shows them. */
  function shown(text) {
    return String(text).replace(hidden, (one) => {
      const digits = one.codePointAt(0).toString(16);
      return one.codePointAt(0) < 0x80 ? "\\x" + digits.padStart(2, "0") : "\\u{" + digits + "}";
    });
  }

  function fill(element, children) {
    for (const child of children.flat()) {
      if (child !== null && child !== undefined) {
        element.append(child instanceof Node ? child : document.createTextNode(shown(child)));
      }
    }
    return element;
  }

  function make(tag, attributes, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes || {})) {
      if (name.startsWith("on")) {
        element.addEventListener(name.slice(2), value);
      } else if (value !== null && value !== undefined && value !== false) {
        element.setAttribute(name, value === true ? "" : shown(value));
      }
    }
    return fill(element, children);
  }

  function drawn(tag, attributes, ...children) {
    const element = document.createElementNS("http://www.w3.org/2000/svg", tag);
    for (const [name, value] of Object.entries(attributes)) {
      element.setAttribute(name, shown(value));
    }
    return fill(element, children);
  }

  const section = (name) => document.getElementById(name);
  const isNumber = (value) => typeof value === "number" || typeof value === "bigint";
  const compareNumbers = (left, right) => (left > right) - (left < right);

  function number(value) {
    if (!isNumber(value)) {
      return value ?? "";
    }
    const isRounded = Number.isInteger(value) && !Number.isSafeInteger(value);
    return (isRounded ? "about " : "") + integers.format(value);
  }

  const plural = (count, one, many) => number(count) + " " + (Number(count) === 1 ? one : many);

  function scrollable(label, ...children) {
    return make("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": label }, ...children);
  }

  function foldable(label, ...children) {
    return make("details", {}, make("summary", {}, label), ...children);
  }

  function size(bytes) {
    if (!isNumber(bytes)) {
      return "";
    }
    const units = ["B", "KiB", "MiB", "GiB", "TiB", "PiB"];
    let unit = 0;
    let value = Number(bytes);
    for (; value >= 1024 && unit + 1 < units.length; ++unit) {
      value /= 1024;
    }
    return (Number.isInteger(value) ? value : value.toFixed(1)) + " " + units[unit];
  }

  // ---- Tables

  const pageOfRows = 100;

  /**
   * A table that sorts by a click on a heading. A column is {label, value(row), text(row), kind}.
   * Only the first rows become elements until the reader asks for all.
   */
  class SortedTable {
    constructor(label, columns, rows) {
      this.columns = columns;
      this.rows = rows;
      this.keeps = () => true;
      this.sorted = null;
      this.isWhole = false;
      this.isPrinted = false;
      this.caption = make("caption", {});
      this.body = make("tbody", {});
      this.headings = columns.map((column, index) =>
        make("th", { scope: "col", class: column.kind === "number" ? "number" : null },
          make("button", { type: "button", onclick: () => this.sort(index) }, column.label)));
      this.more = make("button", { type: "button", hidden: true, onclick: () => this.showAll() });
      this.element = make("div", {}, scrollable(label + " table",
        make("table", {}, this.caption, make("thead", {}, make("tr", {}, this.headings)), this.body)),
      make("p", {}, this.more));
      changesForPrint.push((isPrinted) => this.print(isPrinted));
      this.show();
    }

    /** Paper has all rows. A browser repeats the headings on each sheet only if they are text. */
    print(isPrinted) {
      this.isPrinted = isPrinted;
      this.buttons = this.buttons || this.headings.map((heading) => heading.firstChild);
      this.headings.forEach((heading, index) =>
        heading.replaceChildren(isPrinted ? shown(this.columns[index].label) : this.buttons[index]));
      this.show();
    }

    sort(index) {
      const isUp = !(this.sorted && this.sorted.index === index && this.sorted.isUp);
      this.sorted = { index, isUp };
      this.headings.forEach((heading, at) => {
        if (at === index) {
          heading.setAttribute("aria-sort", isUp ? "ascending" : "descending");
        } else {
          heading.removeAttribute("aria-sort");
        }
      });
      this.show();
    }

    filter(keeps) {
      this.keeps = keeps;
      this.show();
    }

    showAll() {
      this.isWhole = true;
      this.show();
    }

    show() {
      let rows = this.rows.filter(this.keeps);
      if (this.sorted) {
        const { index, isUp } = this.sorted;
        const value = this.columns[index].value;
        const compare = (left, right) => (isNumber(left) && isNumber(right)
          ? compareNumbers(left, right) : String(left ?? "").localeCompare(String(right ?? ""), "en", { numeric: true }));
        rows = rows.slice().sort((left, right) => (isUp ? 1 : -1) * compare(value(left), value(right)));
      }
      this.caption.textContent = rows.length === this.rows.length
        ? plural(rows.length, "row", "rows")
        : number(rows.length) + " of " + plural(this.rows.length, "row", "rows");
      const visible = this.isWhole || this.isPrinted ? rows : rows.slice(0, pageOfRows);
      this.body.replaceChildren(...visible.map((row) => make("tr", {}, this.columns.map((column) =>
        make("td", { class: column.kind }, (column.text || column.value)(row))))));
      this.more.hidden = visible.length === rows.length;
      this.more.textContent = "Show all " + number(rows.length) + " rows";
    }
  }

  // ---- What the host has

  const list = (value) => (Array.isArray(value) ? value.filter((one) => one !== null) : []);
  const nameOfPath = (adapter, target) => adapter + "\n" + target;
  const placeOf = (port) => ({ name: port.port_wwn || String(port.index), fabric: port.fabric_name });

  /**
   * All ports with their remote ports. A remote port that no port discovered is behind the only port of its adapter,
   * or, if there are more, belongs to the adapter alone.
   */
  function inventory() {
    const found = { adapters: list(documents.inventory && documents.inventory.adapters), ports: [], luns: [],
      targets: new Set(), places: new Map() };
    const addLuns = (adapter, port, remote) => {
      const luns = new Map();
      const at = (lun) => {
        if (!luns.has(String(lun))) {
          luns.set(String(lun), { adapter, port, remote, lun, devices: [], unit: {}, mapped: false, reported: false });
        }
        return luns.get(String(lun));
      };
      list(remote.mapped_luns).forEach((lun) => { at(lun).mapped = true; });
      list(remote.reported_luns).forEach((lun) => { at(lun).reported = true; });
      list(remote.luns).forEach((unit) => {
        const row = at(unit.lun);
        row.unit = { ...row.unit, ...unit };
        if (unit.os_device) {
          row.devices.push(unit.os_device);
        }
      });
      found.luns.push(...luns.values());
    };
    const addRemote = (adapter, port, remote) => {
      found.targets.add(remote.node_wwn || remote.port_wwn);
      const path = nameOfPath(adapter.name, remote.port_wwn);
      found.places.set(path, [...(found.places.get(path) || []), placeOf(port)]);
      addLuns(adapter, port, remote);
    };
    for (const adapter of found.adapters) {
      const ports = list(adapter.ports);
      const others = list(adapter.remote_ports);
      for (const port of ports) {
        const remotes = list(port.remote_ports).concat(ports.length === 1 ? others : []);
        found.ports.push({ adapter, port, remotes });
        remotes.forEach((remote) => addRemote(adapter, port, remote));
      }
      if (ports.length !== 1) {
        others.forEach((remote) => addRemote(adapter, {}, remote));
      }
    }
    return found;
  }

  const host = inventory();

  // ---- The filter by a part of the topology

  const filters = [];
  let selected = null;
  let parts = [];  // elements of the picture

  /** What is connected with a port, a target port or a LUN. */
  const connectionsOfPort = (row) => ({ adapter: row.adapter.name, ports: [placeOf(row.port)],
    targets: row.remotes.map((remote) => remote.port_wwn) });
  const connectionsOfTarget = (adapter, target) => ({ adapter,
    ports: host.places.get(nameOfPath(adapter, target)) || [], targets: [target] });
  const connectionsOfLun = (row) => ({ adapter: row.adapter.name, ports: [placeOf(row.port)],
    targets: [row.remote.port_wwn] });

  /** Whether something with these connections belongs to the selected part. */
  function isSelected(connections) {
    if (selected === null) {
      return true;
    }
    const node = data.topology.nodes[selected];
    switch (node.kind) {
      case "adapter": return connections.adapter === node.name;
      case "port": return connections.adapter === node.adapter &&
        connections.ports.some((port) => port.name === node.name);
      case "fabric": return connections.ports.some((port) => port.fabric === node.name);
      default: return connections.targets.some((target) => node.members.includes(target));
    }
  }

  function nameOfNode(node) {
    return node.kind === "target" && node.targets > 1 ? node.name : node.kind + " " + node.name;
  }

  function select(index) {
    selected = selected === index ? null : index;
    const bar = section("filter");
    bar.replaceChildren();
    if (selected !== null) {
      fill(bar, ["Ports, latencies and LUNs of ", nameOfNode(data.topology.nodes[selected]), " ",
        make("button", { type: "button", onclick: showAllParts }, "Show all")]);
    }
    filters.forEach((apply) => apply());
  }

  /** The focus goes to the part that was selected, since the button vanishes. */
  function showAllParts() {
    const part = parts[selected];
    select(selected);
    part.focus({ preventScroll: true });
  }

  // ---- Summary

  function showSummary() {
    const to = section("summary");
    section("title").textContent = "Report of " + shown(data.host || "an unknown host");
    document.title = section("title").textContent;
    section("made").textContent = "Made at " + shown(data.generated_at) + " by qzagent " + shown(data.tool_version) +
      (documents.inventory ? ", from an inventory of " + shown(documents.inventory.generated_at) : "");
    const counts = [["Adapters", host.adapters.length], ["Ports", host.ports.length], ["Targets", host.targets.size],
      ["LUNs on paths", host.luns.length], ["Events", data.events.count], ["Findings", data.findings.length]];
    to.append(make("dl", { class: "counts" }, counts.map(([label, count]) =>
      make("div", {}, make("dt", {}, label), make("dd", { "data-count": label }, number(count))))));
    to.append(make("h3", {}, "Findings"));
    if (data.findings.length > 0) {
      to.append(new SortedTable("Findings", [
        { label: "Severity", value: (row) => row.severity, text: (row) => make("span", { class: row.severity }, row.severity) },
        { label: "Rule", value: (row) => row.rule, kind: "word" },
        { label: "Where", value: (row) => row.where },
        { label: "What", value: (row) => row.what },
        { label: "Why it matters", value: (row) => row.why },
        { label: "What to look at next", value: (row) => row.next }], data.findings).element);
    } else {
      to.append(make("p", { class: "good" }, "The rules found nothing."));
    }
    if (data.missing.length > 0) {
      to.append(make("p", { class: "note" }, "Not everything could be read (" + data.missing.join(", ") +
        "), so there may be more findings."));
    }
    if (data.messages.length > 0) {
      to.append(foldable(plural(data.messages.length, "message", "messages"),
        make("ul", {}, data.messages.map((message) => make("li", {}, message.severity + ": " + message.text)))));
    }
  }

  // ---- Topology

  function cut(text, most) {
    const visible = shown(text);
    return visible.length > most ? visible.slice(0, most - 1) + "\u2026" : visible;
  }

  function showTopology() {
    const to = section("topology");
    const topology = data.topology;
    if (!topology || topology.nodes.length === 0) {
      to.append(make("p", {}, "There is no inventory with adapters."));
      return;
    }
    const width = topology.node_width;
    const height = topology.node_height;
    const edges = topology.edges.map((edge) => {
      const from = topology.nodes[edge.from];
      const end = topology.nodes[edge.to];
      const x1 = from.x + width / 2;
      const x2 = end.x - width / 2;
      const middle = (x1 + x2) / 2;
      return drawn("path", { d: `M${x1} ${from.y}C${middle} ${from.y} ${middle} ${end.y} ${x2} ${end.y}`,
        class: edge.down ? "down" : "" });
    });
    const mark = (index, isNear) => topology.edges.forEach((edge, at) => {
      if (edge.from === index || edge.to === index) {
        edges[at].classList.toggle("near", isNear);
      }
    });
    const nodes = topology.nodes.map((node, index) => {
      const text = (dy, kind, content) => drawn("text", { x: node.x - width / 2 + 10, y: node.y + dy, class: kind },
        cut(content, 27));
      const group = drawn("g", { class: node.kind + (node.down ? " down" : ""), tabindex: "0", role: "button",
        "aria-pressed": "false",
        "aria-label": nameOfNode(node) + (node.details ? ", " + node.details : "") + (node.down ? ", down" : "") },
      drawn("title", {}, nameOfNode(node) + (node.details ? "\n" + node.details : "")),
      drawn("rect", { x: node.x - width / 2, y: node.y - height / 2, width, height }),
      text(-3, "name", node.name), text(13, "details", node.details));
      group.addEventListener("click", () => select(index));
      group.addEventListener("keydown", (event) => {
        if (event.key === "Enter" || event.key === " ") {
          event.preventDefault();
          select(index);
        }
      });
      ["mouseenter", "focus"].forEach((name) => group.addEventListener(name, () => mark(index, true)));
      ["mouseleave", "blur"].forEach((name) => group.addEventListener(name, () => mark(index, false)));
      return group;
    });
    parts = nodes;
    filters.push(() => nodes.forEach((group, index) => group.setAttribute("aria-pressed", String(index === selected))));
    to.append(
      make("p", { class: "note" }, "Adapters and their ports are on the left, fabrics in the middle, targets on the " +
        "right. A dashed red line means down. A click on a part shows only its ports, latencies and LUNs below."),
      make("div", { class: "picture", role: "group", "aria-label": "Topology", tabindex: "0" },
        drawn("svg", { width: topology.width, height: topology.height,
          viewBox: `0 0 ${topology.width} ${topology.height}` }, edges, nodes)),
      foldable("Topology as a table", new SortedTable("Topology", [
        { label: "Kind", value: (node) => node.kind },
        { label: "Name", value: (node) => node.name, kind: "name" },
        { label: "Details", value: (node) => node.details },
        { label: "State", value: (node) => (node.down ? "down" : "") },
        { label: "Reached from", value: (node) => topology.edges.filter((edge) => topology.nodes[edge.to] === node)
          .map((edge) => topology.nodes[edge.from].name).join(", ") },
        { label: "Target ports", value: (node) => (node.members || []).join(", ") }], topology.nodes).element));
  }

  // ---- Ports

  function countersOf(name) {
    const ports = new Map();
    for (const adapter of list(documents[name] && documents[name].adapters)) {
      for (const port of list(adapter.ports)) {
        ports.set(adapter.name + "\n" + port.port_wwn, port.counters || {});
      }
    }
    return ports;
  }

  function showPorts() {
    const to = section("ports");
    if (host.ports.length === 0) {
      to.append(make("p", {}, "There is no inventory with ports."));
      return;
    }
    const state = (row) => row.port.state || "";
    const ports = new SortedTable("Ports", [
      { label: "Adapter", value: (row) => row.adapter.name },
      { label: "Port", value: (row) => row.port.port_wwn || row.port.index, kind: "name" },
      { label: "State", value: state, text: (row) => make("span",
        { class: state(row) === "ONLINE" ? "good" : "error" }, state(row)) },
      { label: "Speed", value: (row) => row.port.speed },
      { label: "Type", value: (row) => row.port.type },
      { label: "Fabric", value: (row) => row.port.fabric_name, kind: "name" },
      { label: "Remote ports", value: (row) => list(row.port.remote_ports).length, kind: "number" },
      { label: "Model", value: (row) => (row.adapter.attributes || {}).model },
      { label: "Driver", value: (row) => (row.adapter.attributes || {}).driver_version },
      { label: "Firmware", value: (row) => (row.adapter.attributes || {}).firmware_version }], host.ports);
    to.append(ports.element);
    const first = countersOf("statistics-start");
    const last = countersOf("statistics-end");
    const rows = host.ports.map((row) => {
      const key = row.adapter.name + "\n" + row.port.port_wwn;
      return { ...row, first: first.get(key) || {}, last: last.get(key) || {} };
    });
    const names = [...new Set(rows.flatMap((row) => Object.keys(row.last)))];
    const keeps = (row) => isSelected(connectionsOfPort(row));
    filters.push(() => ports.filter(keeps));
    to.append(make("h3", {}, "Port statistics"));
    if (names.length === 0) {
      to.append(make("p", {}, "No port has statistics."));
      return;
    }
    const isInteger = (value) => typeof value === "bigint" || Number.isInteger(value);
    const rise = (row, name) => {
      const [from, to] = [row.first[name], row.last[name]];
      return isInteger(from) && isInteger(to) && to > from ? " (+" + number(BigInt(to) - BigInt(from)) + ")" : "";
    };
    const text = (row, name) => number(row.last[name]) + rise(row, name);
    const statistics = new SortedTable("Port statistics", [
      { label: "Adapter", value: (row) => row.adapter.name },
      { label: "Port", value: (row) => row.port.port_wwn, kind: "name" },
      ...names.map((name) => ({ label: name.replaceAll("_", " "), value: (row) => row.last[name],
        text: (row) => text(row, name), kind: "number" }))], rows);
    // A sheet of paper has no room for all counters side by side.
    const byCounter = new SortedTable("Port statistics by counter", [
      { label: "Adapter", value: (one) => one.row.adapter.name },
      { label: "Port", value: (one) => one.row.port.port_wwn, kind: "name" },
      { label: "Counter", value: (one) => one.name.replaceAll("_", " ") },
      { label: "Value", value: (one) => one.row.last[one.name], text: (one) => text(one.row, one.name), kind: "number" }],
    rows.flatMap((row) => names.filter((name) => name in row.last).map((name) => ({ row, name }))));
    filters.push(() => {
      statistics.filter(keeps);
      byCounter.filter((one) => keeps(one.row));
    });
    to.append(make("p", { class: "note" }, "In brackets: the rise between the two looks at the counters."),
      make("div", { class: "screen" }, statistics.element), make("div", { class: "paper" }, byCounter.element));
  }

  // ---- Latency

  const microseconds = (value) => (typeof value === "number" ? value.toFixed(1) : "");
  const shortMicroseconds = (value) => (value < 100 ? value.toFixed(1) : number(Math.round(value)));

  /** Joins looks so that the table has a limited number of columns, each with the worst value. */
  function columnsOfLooks(looks, most) {
    const perColumn = Math.ceil(looks.length / most) || 1;
    const columns = [];
    for (let i = 0; i < looks.length; i += perColumn) {
      columns.push(looks.slice(i, i + perColumn));
    }
    return columns;
  }

  function showHeat(to) {
    const figures = [["p50", "median"], ["p90", "90th percentile"], ["p99", "99th percentile"], ["maximum", "maximum"]];
    const choice = make("select", { id: "heat-figure" }, figures.map(([key, label]) =>
      make("option", { value: key, selected: key === "p99" }, label)));
    const head = make("tr", {});
    const body = make("tbody", {});
    const caption = make("caption", {});
    let isWhole = false;
    let isPrinted = false;
    /** Each target port with its looks in each column. */
    const rowsOf = (columns) => {
      const rows = new Map();
      columns.forEach((looks, column) => looks.forEach((look) => look.target_ports.forEach((port) => {
        const key = nameOfPath(port.adapter, port.port_wwn);
        if (!rows.has(key)) {
          rows.set(key, { adapter: port.adapter, target: port.port_wwn, cells: columns.map(() => []) });
        }
        rows.get(key).cells[column].push(port);
      })));
      return [...rows.values()].filter((row) => isSelected(connectionsOfTarget(row.adapter, row.target)));
    };
    const show = () => {
      const columns = columnsOfLooks(data.latency_looks, isPrinted ? 10 : 48);
      const values = (cell) => cell.map((port) => port[choice.value]).filter((value) => value !== undefined);
      const all = rowsOf(columns).map((row) => ({ row, worst: row.cells.map((cell) => Math.max(...values(cell))) }));
      const sorted = all.flatMap((row) => row.worst.filter(Number.isFinite)).sort(compareNumbers);
      const bounds = [0.2, 0.4, 0.6, 0.8, 0.95].map((part) => sorted[Math.floor(part * (sorted.length - 1))]);
      const heat = (value) => bounds.filter((bound) => value > bound).length;
      all.sort((left, right) => compareNumbers(Math.max(...right.worst), Math.max(...left.worst)));
      const visible = isWhole || isPrinted ? all : all.slice(0, 40);
      caption.textContent = "Microseconds, slowest target ports first; " + number(visible.length) + " of " +
        plural(all.length, "target port", "target ports");
      head.replaceChildren(make("th", { scope: "col" }, "Target port"),
        ...columns.map((looks) => make("th", { scope: "col" }, looks[0].time.slice(0, 19).replace("T", " "))));
      body.replaceChildren(...visible.map(({ row, worst }) => make("tr", {},
        make("th", { scope: "row", class: "name" }, row.adapter + " " + row.target),
        worst.map((value) => (Number.isFinite(value)
          ? make("td", { class: "heat-" + heat(value) }, shortMicroseconds(value)) : make("td", {}, "\u2013"))))));
      more.hidden = visible.length === all.length;
      more.textContent = "Show all " + number(all.length) + " target ports";
    };
    const more = make("button", { type: "button", onclick: () => {
      isWhole = true;
      show();
    } });
    choice.addEventListener("change", show);
    filters.push(show);
    changesForPrint.push((isNow) => {
      isPrinted = isNow;
      show();
    });
    show();
    to.append(make("h3", {}, "Latency over time"),
      make("div", { class: "controls" }, make("label", { for: "heat-figure" }, "Figure"), choice),
      scrollable("Latency over time", make("table", { class: "heat", id: "heat" }, caption,
        make("thead", {}, head), body)), make("p", {}, more));
  }

  function showHistograms(to) {
    const targets = list(documents.latency && documents.latency.adapters).flatMap((adapter) =>
      list(adapter.target_ports).map((port) => ({ adapter: adapter.name, target: port.port_wwn,
        latencies: port.latencies || {} })));
    if (targets.length === 0) {
      return;
    }
    const figure = (row, name) => (row.latencies.latency_us || {})[name];
    const table = new SortedTable("Latencies of target ports", [
      { label: "Adapter", value: (row) => row.adapter },
      { label: "Target port", value: (row) => row.target, kind: "name" },
      { label: "I/Os", value: (row) => row.latencies.io_count, text: (row) => number(row.latencies.io_count), kind: "number" },
      ...["minimum", "p50", "p90", "p99", "p99_9", "maximum"].map((name) => ({
        label: name.replace("_", ".") + " \u00b5s", value: (row) => figure(row, name),
        text: (row) => microseconds(figure(row, name)), kind: "number" }))], targets);
    const choice = make("select", { id: "histogram-target" });
    const body = make("tbody", {});
    const caption = make("caption", {});
    const show = () => {
      const row = choice.value === "" ? undefined : targets[Number(choice.value)];
      const buckets = row === undefined ? [] : list((row.latencies.record || {}).buckets);
      const most = Math.max(1, ...buckets.map((bucket) => bucket.count));
      caption.textContent = row === undefined ? "No target port" : "Answers of target port " + shown(row.target) +
        " through " + shown(row.adapter) + " by their latency";
      body.replaceChildren(...buckets.map((bucket, index) => {
        const bar = make("span", { class: "bar" });
        bar.style.width = (100 * bucket.count / most) + "%";
        bar.hidden = bucket.count === 0;
        const range = bucket.from_us === undefined ? "bucket " + index
          : bucket.below_us === undefined ? "from " + number(bucket.from_us) + " \u00b5s"
            : number(bucket.from_us) + " to " + number(bucket.below_us) + " \u00b5s";
        return make("tr", {}, make("th", { scope: "row" }, range), make("td", { class: "number" }, number(bucket.count)),
          make("td", { class: "bars" }, bar));
      }));
    };
    const apply = () => {
      const keeps = (row) => isSelected(connectionsOfTarget(row.adapter, row.target));
      table.filter(keeps);
      choice.replaceChildren(...targets.map((row, index) => [row, index]).filter(([row]) => keeps(row))
        .sort(([left], [right]) => (figure(right, "p99") || 0) - (figure(left, "p99") || 0))
        .map(([row, index]) => make("option", { value: index }, row.target + " through " + row.adapter)));
      show();
    };
    choice.addEventListener("change", show);
    filters.push(apply);
    apply();
    to.append(make("h3", {}, "Latencies of target ports"), table.element, make("h3", {}, "Histogram"),
      make("div", { class: "controls" }, make("label", { for: "histogram-target" }, "Target port, slowest first"), choice),
      scrollable("Histogram", make("table", { id: "histogram" }, caption, make("thead", {}, make("tr", {},
        make("th", { scope: "col" }, "Latency"), make("th", { scope: "col", class: "number" }, "Answers"),
        make("th", { scope: "col" }, "Share"))), body)));
  }

  function showLatency() {
    const to = section("latency");
    if (data.latency_looks.length === 0) {
      to.append(make("p", {}, "No latencies were measured."));
      return;
    }
    showHeat(to);
    showHistograms(to);
  }

  // ---- Events

  function bytesOf(base64) {
    const text = atob(base64);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) {
      bytes[i] = text.charCodeAt(i);
    }
    return bytes;
  }

  /** A number has seven bits in each byte, from the lowest. The top bit says that another byte follows. */
  function columnOf(base64, count) {
    const bytes = bytesOf(base64);
    const numbers = new Uint32Array(count);
    for (let i = 0, at = 0; i < count; ++i) {
      let unit = 1;
      for (; bytes[at] >= 128; ++at, unit *= 128) {
        numbers[i] += (bytes[at] - 128) * unit;
      }
      numbers[i] += bytes[at++] * unit;
    }
    return numbers;
  }

  /** Half of a packed number that exceeds a double, in seconds and nanoseconds. */
  function exactHalf(bytes) {
    const packed = bytes.reduceRight((higher, byte) => higher * 128n + BigInt(byte & 127), 0n);
    return [Number(packed / 2000000000n), Number(packed / 2n % 1000000000n)];
  }

  /**
   * Seconds since the first time, which has nanoseconds. A difference is from the previous time of the same source, and has
   * its sign in the lowest bit.
   */
  function timesOf(base64, sourceOf, numberOfSources, count, firstTime) {
    const bytes = bytesOf(base64);
    const times = new Float64Array(count);
    const first = { seconds: Math.floor(Date.parse(firstTime) / 1000), rest: Number(firstTime.slice(20, 29)) };
    const lastSeconds = new Float64Array(numberOfSources).fill(first.seconds);
    const lastRests = new Float64Array(numberOfSources).fill(first.rest);
    let seconds;
    let rest;
    const add = (addedSeconds, addedRest) => {
      seconds += addedSeconds;
      rest += addedRest;
      const carry = Math.floor(rest / 1e9);
      seconds += carry;
      rest -= carry * 1e9;
    };
    for (let i = 0, at = 0; i < count; ++i) {
      const start = at;
      const source = sourceOf(i);
      seconds = lastSeconds[source];
      rest = lastRests[source];
      let packed = 0;
      let unit = 1;
      for (; bytes[at] >= 128; ++at, unit *= 128) {
        packed += (bytes[at] - 128) * unit;
      }
      packed += bytes[at++] * unit;
      const half = Math.floor(packed / 2);
      const [longSeconds, longRest] = packed < 2 ** 53 ? [Math.floor(half / 1e9), half % 1e9]
        : exactHalf(bytes.subarray(start, at));
      if (bytes[start] % 2 === 0) {
        add(longSeconds, longRest);
      } else {
        add(-longSeconds, -longRest - 1);
      }
      // Times have 64 bits of nanoseconds, and so has their difference.
      if (seconds < 0) {
        add(18446744073, 709551616);
      } else if (seconds > 18446744073 || (seconds === 18446744073 && rest >= 709551616)) {
        add(-18446744073, -709551616);
      }
      lastSeconds[source] = seconds;
      lastRests[source] = rest;
      times[i] = seconds - first.seconds + (rest - first.rest) / 1e9;
    }
    return times;
  }

  class EventView {
    constructor(events) {
      const { columns, count, kinds } = events;
      const firstTime = events.first_time || "1970-01-01T00:00:00.000000000Z";
      this.start = Date.parse(firstTime) / 1000;
      const kindColumn = columnOf(columns.kind, count);
      this.times = timesOf(columns.time_deltas, (event) => kinds.source[kindColumn[event]], events.sources.length, count,
        firstTime);
      const lengths = columnOf(columns.length, count);
      const numbers = new Map();
      this.series = [];
      const seriesOfKind = kinds.source.map((source, kind) => {
        const category = kinds.category[kind];
        const key = source * 256 + category;
        if (!numbers.has(key)) {
          numbers.set(key, this.series.length);
          this.series.push({ source: events.sources[source], category, count: 0, bytes: 0 });
        }
        return numbers.get(key);
      });
      this.keys = new Uint32Array(count);
      this.first = Infinity;
      this.last = -Infinity;
      for (let i = 0; i < count; ++i) {
        const index = seriesOfKind[kindColumn[i]];
        this.keys[i] = index;
        const one = this.series[index];
        ++one.count;
        one.bytes += lengths[i];
        if (one.source.has_times) {
          this.first = Math.min(this.first, this.times[i]);
          this.last = Math.max(this.last, this.times[i]);
        } else {
          this.times[i] = NaN;
        }
      }
      this.series.forEach((one) => {
        one.label = (one.source.board === undefined ? "no board" : "board " + one.source.board) +
          ", category " + one.category;
      });
      this.hasTimes = this.last >= this.first;
    }

    /** Counts the events of some series and of all in equally long parts of a range. Both ends belong to it. */
    bins(wanted, from, to, count) {
      const all = new Float64Array(count);
      const counts = wanted.map(() => new Float64Array(count));
      const countsOf = this.series.map(() => null);
      wanted.forEach((index, at) => { countsOf[index] = counts[at]; });
      const scale = count / (to - from || 1);
      const { times, keys } = this;
      for (let i = 0; i < times.length; ++i) {
        if (times[i] >= from && times[i] <= to) {
          const bin = Math.min(count - 1, Math.floor((times[i] - from) * scale));
          ++all[bin];
          if (countsOf[keys[i]] !== null) {
            ++countsOf[keys[i]][bin];
          }
        }
      }
      return { all, counts };
    }
  }

  const palettes = {
    light: ["#0550ae", "#a40e26", "#116329", "#7a4100", "#6639ba", "#0e6377", "#8a2b66", "#4d5560"],
    dark: ["#84bdff", "#ff9aa2", "#7ddb93", "#ffc069", "#d2a8ff", "#6fd6e8", "#ff9bd2", "#b3bcc7"],
  };
  const dashes = [[], [8, 4], [2, 3], [12, 4, 2, 4]];
  const darkness = window.matchMedia("(prefers-color-scheme: dark)");

  function showEventChart(to, view) {
    const visible = new Set(view.series.map((one, index) => index)
      .sort((left, right) => view.series[right].count - view.series[left].count).slice(0, 8));
    const bins = 400;
    const shortest = 1e-4;
    const length = Math.max(view.last - view.first, shortest);
    const whole = [view.first, view.first + length];
    let range = whole;
    let chart = null;
    const place = make("div", { id: "chart", role: "img", tabindex: "0" });
    const rangeText = make("p", { id: "range", role: "status" });
    const body = make("tbody", {});
    const instant = (seconds) => new Date((view.start + seconds) * 1000).toISOString().replace("T", " ").replace("Z", "");
    const palette = () => palettes[darkness.matches ? "dark" : "light"];
    const lineOf = (index) => ({ stroke: palette()[index % 8], dash: dashes[Math.floor(index / 8) % dashes.length] });

    /** Only the series that are shown, since there may be thousands. */
    const shownSeries = () => [...visible].sort(compareNumbers);

    /** Counts the events of the range, describes them, and returns what the chart draws. */
    function dataOf() {
      const { all, counts } = view.bins(shownSeries(), range[0], range[1], bins);
      describe(all);
      const width = (range[1] - range[0]) / bins;
      const x = Float64Array.from({ length: bins }, (ignored, at) => view.start + range[0] + (at + 0.5) * width);
      return [x, ...counts];
    }

    /** The times at the axis: as short as the shown range allows. */
    function ticks(self, values) {
      const shownLength = range[1] - range[0];
      const [from, to] = shownLength > 2 * 86400 ? [5, 16] : shownLength > 20 ? [11, 19] : [11, 23];
      return values.map((value) => instant(value - view.start).slice(from, to));
    }

    function options() {
      const style = getComputedStyle(document.documentElement);
      const axis = { stroke: style.getPropertyValue("--text"), grid: { stroke: style.getPropertyValue("--line"), width: 1 },
        ticks: { stroke: style.getPropertyValue("--line"), width: 1 } };
      return {
        width: Math.max(320, place.clientWidth || 900), height: 320, ms: 1e-3,
        tzDate: (seconds) => uPlot.tzDate(new Date(seconds * 1e3), "Etc/UTC"),
        scales: { x: { time: true, auto: false, min: view.start + range[0], max: view.start + range[1] }, y: { range: (self, low, high) => [0, Math.max(1, high)] } },
        axes: [{ ...axis, values: ticks, space: 90 }, { ...axis, label: "Events", size: 60 }],
        cursor: { drag: { x: true, y: false, setScale: false } },
        legend: { show: false },
        hooks: { setSelect: [(self) => {
          if (self.select.width > 3) {
            const from = self.posToVal(self.select.left, "x");
            const end = self.posToVal(self.select.left + self.select.width, "x");
            self.setSelect({ left: 0, width: 0, top: 0, height: 0 }, false);
            zoomTo([from - view.start, end - view.start]);
          }
        }] },
        series: [{}, ...shownSeries().map((index) => ({ label: view.series[index].label, width: 2,
          points: { show: false }, paths: uPlot.paths.stepped({ align: 0 }), ...lineOf(index) }))],
      };
    }

    /** The text counts the events of all series, also of those that are not drawn. */
    function describe(counts) {
      const sum = (from, end) => counts.slice(from, end).reduce((all, one) => all + one, 0);
      const drawn = visible.size === view.series.length ? ""
        : "; " + number(visible.size) + " of " + plural(view.series.length, "kind", "kinds") + " drawn";
      rangeText.textContent = instant(range[0]) + " to " + instant(range[1]) + " UTC: " +
        plural(sum(0, bins), "event", "events") + drawn;
      place.setAttribute("aria-label", "Events over time. " + rangeText.textContent);
      const rows = 20;
      const per = bins / rows;
      body.replaceChildren(...Array.from({ length: rows }, (ignored, row) => make("tr", {},
        make("th", { scope: "row" }, instant(range[0] + (range[1] - range[0]) * row / rows)),
        make("td", { class: "number" }, number(sum(row * per, (row + 1) * per))))));
    }

    /**
     * A range that leaves the whole is moved into it, and stays as long as it is. A range that ends within a pixel of
     * the whole ends exactly there, since rounding would lose the event at the end.
     */
    function inWhole(wanted) {
      const shownLength = Math.max(shortest, wanted[1] - wanted[0]);
      const pixel = shownLength / 1000;
      if (shownLength > length - pixel) {
        return whole;
      }
      if (wanted[0] < whole[0] + pixel) {
        return [whole[0], whole[0] + shownLength];
      }
      return wanted[0] + shownLength > whole[1] - pixel ? [whole[1] - shownLength, whole[1]]
        : [wanted[0], wanted[0] + shownLength];
    }

    function zoomTo(wanted) {
      range = inWhole(wanted);
      const values = dataOf();
      chart.batch(() => {
        chart.setData(values, false);
        chart.setScale("x", { min: view.start + range[0], max: view.start + range[1] });
      });
    }

    function zoomBy(factor, shift) {
      const middle = (range[0] + range[1]) / 2 + shift * (range[1] - range[0]);
      const half = (range[1] - range[0]) * factor / 2;
      zoomTo([middle - half, middle + half]);
    }

    function build() {
      if (chart !== null) {
        chart.destroy();
      }
      chart = new uPlot(options(), dataOf(), place);
    }

    const moves = [["Zoom in", "+", () => zoomBy(0.5, 0)], ["Zoom out", "-", () => zoomBy(2, 0)],
      ["Earlier", "ArrowLeft", () => zoomBy(1, -0.25)], ["Later", "ArrowRight", () => zoomBy(1, 0.25)],
      ["Whole time", "0", () => zoomTo(whole)]];
    place.addEventListener("keydown", (event) => {
      const move = moves.find(([, key]) => key === event.key);
      if (move) {
        event.preventDefault();
        move[2]();
      }
    });
    const keyOf = (index) => {
      const key = make("span", { class: "key" });
      key.style.background = lineOf(index).stroke;
      return key;
    };
    const table = new SortedTable("Events by board and category", [
      { label: "Shown", value: (row) => (visible.has(row.index) ? 1 : 0), text: (row) => {
        const box = make("input", { type: "checkbox", "aria-label": "Show " + row.label });
        box.checked = visible.has(row.index);
        box.addEventListener("change", () => {
          visible[box.checked ? "add" : "delete"](row.index);
          build();
        });
        return make("span", { class: "choice" }, keyOf(row.index), box);
      } },
      ...columnsOfEvents], view.series.map((one, index) => ({ ...one, index })));
    to.append(make("div", { class: "controls" }, moves.map(([label, , move]) =>
      make("button", { type: "button", onclick: move }, label))), rangeText, place,
    make("p", { class: "note" }, "Drag over the chart to zoom, or use the buttons or the keys + - 0 and the arrows."),
    foldable("The shown time as a table", scrollable("Events in the shown time", make("table", { id: "binned" },
      make("thead", {}, make("tr", {}, make("th", { scope: "col" }, "From (UTC)"),
        make("th", { scope: "col", class: "number" }, "Events"))), body))),
    make("h3", {}, "Events by board and category"), table.element);
    build();
    darkness.addEventListener("change", () => {
      table.show();
      build();
    });
    const fit = (width) => chart.setSize({ width: Math.max(320, width), height: 320 });
    window.addEventListener("resize", () => fit(place.clientWidth));
    changesForPrint.push((isPrinted) => fit(isPrinted ? 640 : place.clientWidth));
    window.qzReport = { zoomTo: (part) => zoomTo([whole[0] + length * part[0], whole[0] + length * part[1]]) };
  }

  const columnsOfEvents = [
    { label: "Host", value: (row) => row.source.host },
    { label: "Board", value: (row) => row.source.board, kind: "number" },
    { label: "Category", value: (row) => row.category, kind: "number" },
    { label: "Events", value: (row) => row.count, text: (row) => number(row.count), kind: "number" },
    { label: "Payload", value: (row) => row.bytes, text: (row) => size(row.bytes), kind: "number" }];

  function showEvents() {
    const to = section("events");
    const dropped = data.events.drops.reduce((sum, drop) => sum + BigInt(drop.count), 0n);
    if (dropped > 0n) {
      to.append(make("p", { class: "warning" }, plural(dropped, "event was dropped", "events were dropped") +
        " before the capture."));
    }
    if (data.events.count === 0) {
      to.append(make("p", {}, "There are no events."));
      return;
    }
    const wait = make("p", { class: "note" }, "Unpacking " + plural(data.events.count, "event", "events") + "\u2026");
    to.append(wait);
    // The rest of the page is painted first.
    setTimeout(() => guard("events", () => {
      wait.remove();
      const view = new EventView(data.events);
      if (view.hasTimes) {
        showEventChart(to, view);
      } else {
        to.append(make("p", {}, "The events have no times."),
          new SortedTable("Events by board and category", columnsOfEvents, view.series).element);
      }
      document.documentElement.dataset.events = "shown";
    }), 0);
  }

  // ---- LUNs

  function showLuns() {
    const to = section("luns");
    if (host.luns.length === 0) {
      to.append(make("p", {}, "There is no inventory with LUNs."));
      return;
    }
    const text = (row) => [row.adapter.name, row.port.port_wwn, row.remote.port_wwn, row.remote.node_wwn, row.lun,
      ...row.devices, row.unit.vendor, row.unit.product, row.unit.revision].join("\n").toLowerCase();
    const yes = (value) => (value ? "yes" : "no");
    const table = new SortedTable("LUNs", [
      { label: "Adapter", value: (row) => row.adapter.name },
      { label: "Port", value: (row) => row.port.port_wwn || "", kind: "name" },
      { label: "Target port", value: (row) => row.remote.port_wwn, kind: "name" },
      { label: "LUN", value: (row) => row.lun, kind: "number" },
      { label: "Device", value: (row) => row.devices.join(", ") },
      { label: "Vendor", value: (row) => row.unit.vendor },
      { label: "Product", value: (row) => row.unit.product },
      { label: "Revision", value: (row) => row.unit.revision },
      { label: "Capacity", value: (row) => row.unit.capacity_bytes, text: (row) => size(row.unit.capacity_bytes), kind: "number" },
      { label: "Mapped", value: (row) => yes(row.mapped) },
      { label: "Reported", value: (row) => yes(row.reported) }], host.luns);
    const search = make("input", { type: "search", id: "lun-search", autocomplete: "off", spellcheck: "false" });
    const apply = () => {
      const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
      table.filter((row) => isSelected(connectionsOfLun(row)) &&
        words.every((word) => text(row).includes(word)));
    };
    search.addEventListener("input", apply);
    filters.push(apply);
    to.append(make("div", { class: "controls" }, make("label", { for: "lun-search" }, "Show LUNs that contain"), search),
      table.element);
  }

  // ---- The page

  /** Shows a section as far as its data allows. The others do not depend on it. */
  function guard(name, show) {
    try {
      show();
    } catch (error) {
      section(name).append(make("p", { class: "error" }, "The rest of this section cannot be shown: " + error.message));
    }
  }

  const closed = () => [...document.querySelectorAll("details:not([open])")];
  let opened = [];
  changesForPrint.push((isPrinted) => {
    opened = isPrinted ? closed() : opened;
    opened.forEach((one) => { one.open = isPrinted; });
  });
  window.addEventListener("beforeprint", () => changesForPrint.forEach((change) => change(true)));
  window.addEventListener("afterprint", () => changesForPrint.forEach((change) => change(false)));
  guard("summary", showSummary);
  guard("topology", showTopology);
  guard("ports", showPorts);
  guard("latency", showLatency);
  guard("events", showEvents);
  guard("luns", showLuns);
})();
