'use strict';

// Draws the report from the data in the page. Text reaches the page through textContent only: names
// of reasons and interfaces come from outside.

const data = JSON.parse(document.getElementById('data').textContent);
const steps = data.period.labels;
// Two lines, so that more labels fit below a chart.
const stepLabels = steps.map((label) => label.split(' '));

// ---------------------------------------------------------------- text

const byId = (id) => document.getElementById(id);
const number = (value) => value.toLocaleString('en');
const plural = (count, word) => `${number(count)} ${word}${count === 1 ? '' : 's'}`;
const percent = (good, all) => (all ? `${(100 * good / all).toFixed(1)} %` : '–');
const shortId = (place) => (place === null ? 'unknown' : data.clients[place].slice(0, 8));

// Times are in the access point's time zone. Its offset changes with daylight saving time.
const offsetAt = (ms) =>
  (data.period.offsets.filter(([from]) => from <= ms).pop() || data.period.offsets[0])[1];

function time(ms, options) {
  const shifted = new Date(ms + offsetAt(ms) * 1000);
  return shifted.toLocaleString('en-GB', {timeZone: 'UTC', ...options});
}
const day = (ms) => time(ms, {day: 'numeric', month: 'long', year: 'numeric'});
const minute = (ms) =>
  time(ms, {weekday: 'short', day: 'numeric', month: 'short', hour: '2-digit', minute: '2-digit'});

function duration(ms) {
  if (ms < 1000) return `${ms} ms`;
  if (ms < 60000) return `${(ms / 1000).toFixed(1)} s`;
  if (ms < 3600000) return `${Math.round(ms / 60000)} min`;
  return `${(ms / 3600000).toFixed(1)} h`;
}

const dbm = (value) => (value === null ? '–' : `${String(value).replace('-', '−')} dBm`);

// ---------------------------------------------------------------- elements

function element(name, properties = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key === 'class') made.className = value;
    else if (key in made) made[key] = value;
    else made.setAttribute(key, value);
  }
  made.append(...children.filter((child) => child !== null));
  return made;
}

const client = (place) =>
  element('code', {title: place === null ? '' : data.clients[place]}, shortId(place));

// A cell is a text, an element or a number. Numbers are aligned to the right.
function table(heads, rows) {
  const isNumber = heads.map((_, i) => rows.some((row) => typeof row[i] === 'number') ||
    heads[i].startsWith('#'));
  const cell = (name, value, i) => element(name, {class: isNumber[i] ? 'number' : ''},
    typeof value === 'number' ? number(value) : value);
  return element('div', {class: 'scroll'}, element('table', {},
    element('thead', {}, element('tr', {},
      ...heads.map((head, i) => cell('th', head.replace('#', ''), i)))),
    element('tbody', {}, ...rows.map((row) => element('tr', {},
      ...row.map((value, i) => cell('td', value, i)))))));
}

const folded = (title, content) => element('details', {}, element('summary', {}, title), content);

function legend(entries) {
  return element('ul', {class: 'legend'}, ...entries.map(([words, colour]) =>
    element('li', {}, element('i', {style: `background: var(--${colour})`}), words)));
}

// Bars of segments. A segment has a count, a colour and words.
function bars(rows, most, unit) {
  return rows.map(({words, note, segments}) => {
    const count = segments.reduce((sum, segment) => sum + segment.count, 0);
    return element('li', {},
      element('div', {class: 'line'}, element('span', {class: 'words'}, words, note ? ' ' : '',
        note ? element('span', {class: 'wish'}, note) : null),
      element('span', {class: 'number'}, unit(count))),
      element('div', {class: 'track'}, ...segments.map((segment) =>
        element('span', {
          style: `width: ${100 * segment.count / most}%; background: var(--${segment.colour})`,
          'data-tip': `${words}, ${segment.words}: ${number(segment.count)}`}))));
  });
}

// ---------------------------------------------------------------- interfaces

// An interface has the same colour everywhere. All other names are grey.
const interfaceColours = {'wlan-5000mhz': 'blue', 'wlan-2400mhz': 'orange',
  'guest-5000mhz': 'green', 'guest-2400mhz': 'purple'};
const colourOf = (name) =>
  (Object.hasOwn(interfaceColours, name) ? interfaceColours[name] : 'grey');
const nameOf = (name) => name || 'unknown interface';

// ---------------------------------------------------------------- charts

const charts = [];
const colour = (name) =>
  getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

// Calls `configure` again when the colours change.
function chart(parent, label, configure, heads, rows) {
  const canvas = element('canvas', {role: 'img', 'aria-label': label});
  const box = element('div', {class: 'chart'}, canvas);
  parent.append(box, folded('Show as table', table(heads, rows)));
  charts.push({canvas, configure, drawn: null});
  return box;
}

function draw(entry) {
  Chart.defaults.color = colour('quiet');
  Chart.defaults.borderColor = colour('line');
  Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
  if (entry.drawn) entry.drawn.destroy();
  entry.drawn = new Chart(entry.canvas, entry.configure());
}

const drawAll = () => charts.forEach(draw);

const tooltip = (callbacks) => ({
  backgroundColor: colour('text'), titleColor: colour('panel'), bodyColor: colour('panel'),
  footerColor: colour('panel'), padding: 10, cornerRadius: 6, boxPadding: 4, callbacks});

const category = (rest = {}) => ({grid: {display: false}, ticks: {maxRotation: 0, autoSkipPadding: 12},
  ...rest});
const counts = (rest = {}) => ({beginAtZero: true, border: {display: false}, ticks: {precision: 0,
  maxTicksLimit: 6}, ...rest});

const options = (rest) => ({animation: false, maintainAspectRatio: false,
  interaction: {mode: 'index', intersect: false}, ...rest});

const bottomLegend = () => ({position: 'bottom', align: 'start',
  labels: {boxWidth: 12, boxHeight: 12, padding: 16}});

// ---------------------------------------------------------------- service levels

const limitTime = `${data.limits.time / 1000} s`;
const limitSignal = dbm(data.limits.signal);

// What a level counts: in one line, and in full.
const levelWords = {
  connects: {
    counts: 'of the attempts to join',
    of: 'attempt',
    lacking: 'connects do not show whether they succeeded',
    full: 'Connects that succeeded, of these and all that failed: connects, and authentications ' +
      'and associations that were refused or not acknowledged. An attempt without a recorded ' +
      'outcome does not count.'},
  time: {
    counts: `of the connects took at most ${limitTime}`,
    of: 'connect',
    lacking: 'connects have no recorded authentication, or no client',
    full: `Connects within ${limitTime} after the first authentication. An attempt starts with ` +
      'the first authentication on any interface since the last connect, at most a minute ago. ' +
      'The time of DHCP and DNS is not measured.'},
  coverage: {
    counts: `of the connects and disconnects at ${limitSignal} or more`,
    of: 'signal',
    lacking: 'connects and disconnects have no signal',
    full: `Connects and disconnects at which the access point received ${limitSignal} or more. ` +
      'How well a client hears the access point is not measured.'},
  steering: {
    counts: 'of the steers left the client better off',
    of: 'steer',
    lacking: 'steers: the client did not come back, or a signal is unknown',
    full: 'Steers after which the client connected within a minute with a stronger signal than ' +
      'before. Clients that did not come back may have joined another access point. They do not ' +
      'count.'},
  stability: {
    counts: 'of the disconnects were wanted',
    of: 'disconnect',
    lacking: 'disconnects have no reason, or one that does not show whether they were wanted',
    full: 'Disconnects that the client, another access point or steering wanted. ' +
      'Silence, lost frames and failed handshakes are unwanted.'}};

const shareOf = (level) => 100 * level.good / level.all;

function stateOf(level) {
  if (!level.all) return {name: 'empty', sign: '', words: 'no data'};
  return level.missed ?
    {name: 'missed', sign: '▼', words: `below the goal of ${level.goal} %`} :
    {name: 'met', sign: '✓', words: `meets the goal of ${level.goal} %`};
}

function tile(level) {
  const state = stateOf(level);
  return element('a', {class: `tile ${state.name}`, href: `#level-${level.key}`},
    element('span', {class: 'name'}, level.title),
    element('span', {class: 'value'}, level.share ?? '–'),
    element('span', {class: 'state'}, element('span', {class: state.name}, state.sign),
      ` goal ${level.goal} %`));
}

function sinceBefore(level) {
  const [good, all] = level.before;
  if (!all || !level.all) return null;
  const points = shareOf(level) - 100 * good / all;
  if (Math.abs(points) < 0.05) return element('p', {}, 'as in the period before');
  return element('p', {}, element('span', {class: points > 0 ? 'better' : 'worse'},
    `${points > 0 ? '▲ +' : '▼ −'}${Math.abs(points).toFixed(1)} points`), ' since the period before');
}

function facts(level) {
  const state = stateOf(level);
  const words = levelWords[level.key];
  return element('div', {class: 'facts'},
    element('h2', {style: 'color: var(--text)'}, level.title),
    element('p', {class: `value ${state.name}`, style: state.name === 'missed' ? '' : 'color: var(--text)'},
      level.share ?? '–'),
    element('p', {}, words.counts),
    element('p', {class: `badge ${state.name}`}, `${state.sign} ${state.words}`.trim()),
    sinceBefore(level),
    element('p', {class: 'what'}, `${plural(level.all, words.of)} measured`),
    level.unmeasured ? element('p', {}, `Not counted: ${number(level.unmeasured)} ${words.lacking}.`) : null);
}

function trendChart(level) {
  const shares = level.trend.map(([good, all]) => (all ? 100 * good / all : null));
  const lowest = Math.min(level.goal, ...shares.filter((share) => share !== null)) - 2;
  const stepSize = lowest < 75 ? 10 : 5;
  return {
    type: 'line',
    data: {labels: stepLabels, datasets: [
      {label: level.title, data: shares, borderColor: colour('blue'), backgroundColor: colour('blue'),
        borderWidth: 2, pointRadius: shares.length > 31 ? 1.5 : 3, pointHoverRadius: 5},
      {label: 'Goal', data: steps.map(() => level.goal), borderColor: colour('grey'),
        borderDash: [4, 4], borderWidth: 1, pointRadius: 0, pointHoverRadius: 0}]},
    options: options({
      plugins: {legend: {display: false}, tooltip: tooltip({label: (item) => {
        if (item.datasetIndex === 1) return `Goal ${level.goal} %`;
        const [good, all] = level.trend[item.dataIndex];
        return `${percent(good, all)}: ${number(good)} of ${number(all)}`;
      }})},
      scales: {x: category({ticks: {maxRotation: 0, autoSkipPadding: 8, maxTicksLimit: 7}}),
        y: {min: Math.max(0, Math.floor(lowest / stepSize) * stepSize), max: 100, border: {display: false},
          ticks: {stepSize, maxTicksLimit: 6, callback: (value) => `${value} %`}}}})};
}

function showLevel(level) {
  const trend = element('div', {}, element('h3', {}, `Trend by ${data.period.step}`));
  chart(trend, `${level.title} by ${data.period.step}`, () => trendChart(level),
    [data.period.step === 'day' ? 'Day' : 'Hour', '# Good', '# All', '# Share'],
    level.trend.map(([good, all], i) => [steps[i], good, all, percent(good, all)]));
  const bad = level.all - level.good;
  const causes = element('div', {class: 'causes'}, element('h3', {}, 'Causes'), bad ?
    element('ul', {class: 'bars'}, ...bars(level.causes.map(([words, count]) =>
      ({words, segments: [{count, colour: 'red', words: percent(count, bad)}]})),
    bad, (count) => `${percent(count, bad)} · ${number(count)}`)) :
    element('p', {class: 'empty'}, level.all ? 'Nothing is missing.' : 'Nothing was measured.'));
  const affected = element('div', {}, element('h3', {}, 'Clients most affected'),
    level.clients.length ? table(['Client', '# Bad', '# Of'], level.clients.map(([place, count, all]) =>
      [client(place), count, all])) : element('p', {class: 'empty'}, 'None.'));
  return element('article', {class: 'level', id: `level-${level.key}`}, facts(level), trend, causes,
    affected);
}

// ---------------------------------------------------------------- joins and disconnects

function showJoins() {
  const connects = data.levels[0].trend;
  const parent = byId('joins-chart');
  parent.append(element('h3', {}, `Attempts to join by ${data.period.step}`));
  chart(parent, 'Attempts to join', () => ({
    type: 'bar',
    data: {labels: stepLabels, datasets: [
      {label: 'connected', data: connects.map(([good]) => good), backgroundColor: colour('blue')},
      {label: 'failed', data: connects.map(([good, all]) => all - good), backgroundColor: colour('red')}]},
    options: options({plugins: {legend: bottomLegend(), tooltip: tooltip({footer: (items) => {
      const [good, all] = connects[items[0].dataIndex];
      return `${percent(good, all)} of ${number(all)}`;
    }})},
    scales: {x: category({stacked: true}), y: counts({stacked: true})}})}),
  [data.period.step === 'day' ? 'Day' : 'Hour', '# Connected', '# Failed'],
  connects.map(([good, all], i) => [steps[i], good, all - good]));
  byId('failures').append(element('h3', {}, 'Failures by reason'));
  showReasons(byId('failures'), data.joins.failures, '', ['Failure', 'Interface', '# Events', '# Clients'],
    (row) => row.slice(0, 4));
}

// Turns rows of words, interface, events and clients into one bar per words.
function showReasons(parent, rows, columns, heads, cells) {
  if (!rows.length) {
    parent.append(element('p', {class: 'empty'}, 'None.'));
    return;
  }
  const byWords = new Map();
  for (const [words, name, count, , wish] of rows) {
    const bar = byWords.get(words) || {words, note: wish === false ? 'unwanted' : '', segments: []};
    bar.segments.push({count, colour: colourOf(name), words: nameOf(name)});
    byWords.set(words, bar);
  }
  const total = (bar) => bar.segments.reduce((sum, segment) => sum + segment.count, 0);
  const sorted = [...byWords.values()].sort((one, other) => total(other) - total(one));
  const all = sorted.reduce((sum, bar) => sum + total(bar), 0);
  const names = [...new Set(rows.map((row) => row[1]))].sort().reverse();
  for (const bar of sorted) bar.segments.sort((one, other) => (one.words < other.words ? 1 : -1));
  parent.append(legend(names.map((name) => [nameOf(name), colourOf(name)])),
    element('ul', {class: `bars ${columns}`}, ...bars(sorted, total(sorted[0]),
      (count) => `${number(count)} · ${percent(count, all)}`)),
    folded('Show as table', table(heads, rows.map(cells))));
}

function showDisconnects() {
  const wishes = new Map([[true, 'yes'], [false, 'no'], [null, 'not known']]);
  showReasons(byId('reasons'), data.disconnects, 'columns',
    ['Reason', 'Interface', '# Events', '# Clients', 'Wanted'],
    (row) => [row[0], nameOf(row[1]), row[2], row[3], wishes.get(row[4])]);
}

// ---------------------------------------------------------------- signal

function showSignals() {
  byId('signals-about').textContent = 'Signals of all events at the access point, by interface, in ' +
    `steps of 5 dB. Left of the line they are below ${limitSignal}.`;
  const parent = byId('signals-chart');
  if (!data.signals.length) {
    parent.append(element('p', {class: 'empty'}, 'No event has a signal.'));
    return;
  }
  const names = [...new Set(data.signals.map((row) => row[0]))].sort().reverse();
  const used = data.signals.map((row) => row[1]);
  const froms = [];
  for (let from = Math.min(...used); from <= Math.max(...used); from += 5) froms.push(from);
  const count = new Map(data.signals.map(([name, from, events]) => [`${from} ${name}`, events]));
  const events = (name, from) => count.get(`${from} ${name}`) || 0;
  const all = new Map(names.map((name) =>
    [name, froms.reduce((sum, from) => sum + events(name, from), 0)]));
  const range = (from) => `${from} to ${from + 4}`.replaceAll('-', '−');
  // Marks the limit of coverage between two steps.
  const limit = {id: 'limit', afterDatasetsDraw({ctx, chartArea, scales}) {
    const width = chartArea.width / froms.length;
    const x = scales.x.left + width * (data.limits.signal - froms[0]) / 5;
    if (x < chartArea.left || x > chartArea.right) return;
    ctx.save();
    ctx.strokeStyle = colour('text');
    ctx.setLineDash([4, 4]);
    ctx.beginPath();
    ctx.moveTo(x, chartArea.top);
    ctx.lineTo(x, chartArea.bottom);
    ctx.stroke();
    ctx.restore();
  }};
  chart(parent, 'Signals by interface', () => ({
    type: 'bar',
    data: {labels: froms.map((from) => String(from).replace('-', '−')), datasets: names.map((name) => ({label: nameOf(name),
      data: froms.map((from) => 100 * events(name, from) / all.get(name)),
      backgroundColor: colour(colourOf(name)), barPercentage: 1, categoryPercentage: 0.82}))},
    plugins: [limit],
    options: options({plugins: {legend: bottomLegend(), tooltip: tooltip({
      title: (items) => `${range(froms[items[0].dataIndex])} dBm`,
      label: (item) => `${item.dataset.label}: ${item.parsed.y.toFixed(1)} %, ` +
        plural(events(names[item.datasetIndex], froms[item.dataIndex]), 'event')})},
    scales: {x: category({title: {display: true, text: 'signal from, dBm'}}),
      y: {beginAtZero: true, border: {display: false}, ticks: {maxTicksLimit: 6,
        callback: (value) => `${value} %`}}}})}),
  ['Signal, dBm', ...names.map((name) => `# ${nameOf(name)}`)],
  froms.map((from) => [range(from), ...names.map((name) => events(name, from))]));
}

// ---------------------------------------------------------------- clients

// Rows of client, events, connects, failures, disconnects, moves, bounces and mean signal. `columns`
// are heads and their places in a row.
function showRanking(parent, title, rows, columns, none) {
  parent.append(element('h3', {}, title));
  if (!rows.length) {
    parent.append(element('p', {class: 'empty'}, none));
    return;
  }
  parent.append(table(['Client', ...columns.map(([head]) => head), '# Signal'], rows.map((row) =>
    [client(row[0]), ...columns.map(([, place]) => row[place]), dbm(row[7])])));
}

function showClients() {
  showRanking(byId('busiest'), 'Busiest', data.busiest,
    [['# Events', 1], ['# Connects', 2], ['# Failures', 3]], 'No client is known.');
  showRanking(byId('bouncing'), 'Bouncing most', data.bouncing,
    [['# Bounces', 6], ['# Connects', 2], ['# Moves', 5]], 'No client bounces.');
}

function timelineChart(names, labels) {
  const isNarrow = innerWidth < 700;
  const visits = (name) => data.timelines.flatMap((line, i) => line.visits
    .filter((visit) => visit[2] === name)
    .map(([from, to]) => ({x: [from, to], y: labels[i]})));
  const marks = (kind) => data.timelines.flatMap((line, i) => line.marks
    .filter((mark) => mark[1] === kind)
    .map(([t]) => ({x: t, y: labels[i]})));
  const mark = (label, kind, style, name) => ({type: 'scatter', label, data: marks(kind),
    pointStyle: style, radius: isNarrow ? 3 : 4, hoverRadius: 7, borderColor: colour(name),
    backgroundColor: colour(name), borderWidth: 1.5, order: 0});
  return {
    type: 'bar',
    data: {labels, datasets: [
      ...names.map((name) => ({label: nameOf(name), data: visits(name), grouped: false, order: 1,
        barPercentage: 0.6, minBarLength: 2, pointStyle: 'rect', backgroundColor: colour(colourOf(name))})),
      mark('failed to join', 'failure', 'crossRot', 'red'),
      mark('steered', 'steer', 'triangle', 'text')]},
    options: options({indexAxis: 'y', interaction: {mode: 'nearest', intersect: true},
      plugins: {legend: {...bottomLegend(), labels: {usePointStyle: true, padding: 16}},
        tooltip: tooltip({title: (items) => items[0].raw.y, label: ({dataset, raw}) =>
          (Array.isArray(raw.x) ? `${dataset.label}: ${minute(raw.x[0])}, ${duration(raw.x[1] - raw.x[0])}` :
            `${dataset.label}: ${minute(raw.x)}`)})},
      scales: {
        x: {type: 'linear', min: data.period.since, max: data.period.until,
          afterBuildTicks: (axis) => { axis.ticks = data.period.steps.map((value) => ({value})); },
          ticks: {maxRotation: 0, autoSkip: true, autoSkipPadding: 16, align: 'start',
            callback: (value) => (isNarrow ? time(value, {day: 'numeric', month: 'short'}) :
              steps[data.period.steps.indexOf(value)])}},
        y: {type: 'category', labels, grid: {display: false}, ticks: {autoSkip: false,
          font: {family: 'ui-monospace, "DejaVu Sans Mono", monospace', size: 11}}}}})};
}

function showTimelines() {
  const parent = byId('timelines-chart');
  const lines = data.timelines;
  if (!lines.length) {
    parent.append(element('p', {class: 'empty'}, 'No client is known.'));
    return;
  }
  const omitted = lines.reduce((sum, line) => sum + line.omitted, 0);
  if (omitted) {
    byId('timelines-about').textContent += ` ${number(omitted)} later visits and marks of clients ` +
      'with very many are left out.';
  }
  const labels = lines.map((line) => shortId(line.client));
  const names = [...new Set(lines.flatMap((line) => line.visits.map((visit) => visit[2])))].sort().reverse();
  const sum = (line, name) => line.visits.filter((visit) => visit[2] === name)
    .reduce((total, [from, to]) => total + to - from, 0);
  const box = chart(parent, 'Time lines of clients', () => timelineChart(names, labels),
    ['Client', '# Visits', ...names.map((name) => `# Time on ${nameOf(name)}`), '# Failed joins', '# Steers'],
    lines.map((line) => [client(line.client), line.visits.length,
      ...names.map((name) => duration(sum(line, name))),
      line.marks.filter((mark) => mark[1] === 'failure').length,
      line.marks.filter((mark) => mark[1] === 'steer').length]));
  box.style.height = `${5.5 + 1.9 * lines.length}rem`;
}

// ---------------------------------------------------------------- steers

const outcomes = new Map([['better', ['better off', 'green']],
  ['same', ['same interface, not stronger', 'orange']],
  ['other', ['other interface, not stronger', 'purple']],
  ['late', ['away for more than a minute', 'red']],
  ['gone', ['not back', 'grey']],
  ['unknown', ['not known', 'line']]]);

function showSteers() {
  const {outcomes: rows, list} = data.steers;
  if (data.log) {
    byId('steers-about').textContent += ` The log has ${plural(data.log.steers, 'steer')}; ` +
      `${number(data.log.without_disconnect)} had no effect: no disconnect is recorded within 10 s.`;
  }
  const parent = byId('steers-chart');
  if (!rows.length) {
    parent.append(element('p', {class: 'empty'}, 'No steer is recorded.'));
    return;
  }
  const series = [...outcomes].map(([key, [words, name]]) => {
    const values = steps.map(() => 0);
    for (const [outcome, step, count] of rows) if (outcome === key) values[step] = count;
    return {words, name, values};
  }).filter(({values}) => values.some((value) => value > 0));
  parent.append(element('h3', {}, `Outcome by ${data.period.step}`));
  chart(parent, 'Outcome of steers', () => ({
    type: 'bar',
    data: {labels: stepLabels, datasets: series.map(({words, name, values}) =>
      ({label: words, data: values, backgroundColor: colour(name)}))},
    options: options({plugins: {legend: bottomLegend(), tooltip: tooltip({})},
      scales: {x: category({stacked: true}), y: counts({stacked: true})}})}),
  [data.period.step === 'day' ? 'Day' : 'Hour', ...series.map(({words}) => `# ${words}`)],
  steps.map((step, i) => [step, ...series.map(({values}) => values[i])]));
  parent.append(folded(`The last ${plural(list.length, 'steer')}`,
    table(['Time', 'Client', 'From', '# Signal', 'To', '# Signal', '# Away', 'Outcome'],
      list.map(([t, place, from, before, to, after, away, outcome]) =>
        [minute(t), client(place), nameOf(from), dbm(before), to || '–', dbm(after),
          away === null ? '–' : duration(away), outcomes.get(outcome)[0]]))));
}

// ---------------------------------------------------------------- changes

function showChanges() {
  const begin = data.period.since - (data.period.until - data.period.since);
  const about = byId('changes-about');
  if (!data.counts.before) {
    about.textContent = 'There are no events of the previous period to compare with.';
    byId('changes-table').hidden = true;
    return;
  }
  const isPartial = data.counts.first > begin + (data.period.step === 'day' ? 86400000 : 3600000);
  about.textContent = `Compared with the previous period, since ${minute(begin)}. ` +
    (isPartial ? `The database begins on ${minute(data.counts.first)}, so the numbers of that period are too low. ` : '') +
    `${plural(data.changes.come, 'client')} came, ${number(data.changes.gone)} did not come back.`;
  const value = (amount, unit) => {
    if (amount === null) return '–';
    if (unit === 'ms') return duration(amount);
    return unit === 'dBm' ? dbm(amount) : number(amount);
  };
  const change = (before, now, unit) => {
    if (before === null || now === null || before === now) return '–';
    const sign = now > before ? '▲ +' : '▼ −';
    const size = Math.abs(now - before);
    if (unit === 'dBm') return `${sign}${size} dB`;
    return before === 0 ? `${sign}${number(size)}` : `${sign}${(100 * size / before).toFixed(1)} %`;
  };
  const levels = data.levels.filter((level) => level.all && level.before[1]).map((level) => {
    const points = shareOf(level) - 100 * level.before[0] / level.before[1];
    return [level.title, percent(...level.before), level.share,
      Math.abs(points) < 0.05 ? '–' : element('span', {class: points > 0 ? 'better' : 'worse'},
        `${points > 0 ? '▲ +' : '▼ −'}${Math.abs(points).toFixed(1)} pts`)];
  });
  byId('changes-table').append(table(['', '# Before', '# Now', '# Change'], [...levels,
    ...data.changes.rows.map(([title, before, now, unit]) =>
      [title, value(before, unit), value(now, unit), change(before, now, unit)])]));
}

// ---------------------------------------------------------------- the rest

function showHead() {
  const {since, until} = data.period;
  const long = (ms) => `${day(ms)}, ${time(ms, {hour: '2-digit', minute: '2-digit'})}`;
  byId('period').textContent = `${long(since)} to ${long(until)}`;
  byId('counts').textContent = `${plural(data.counts.events, 'event')} of ` +
    plural(data.counts.clients, 'client') +
    (data.counts.unnamed ? `; ${plural(data.counts.unnamed, 'event')} without an identifier` : '');
  byId('source').textContent = `From ${data.database}, made on ${minute(data.made)}. ` +
    'Times are in the access point’s time zone.';
  document.title = `Wi-Fi report, ${day(since)} to ${day(until)}`;
}

function showNotes() {
  for (const level of data.levels) {
    byId('definitions').append(element('dt', {}, level.title),
      element('dd', {}, levelWords[level.key].full));
  }
  byId('identifiers').append(element('ul', {}, ...[...data.clients].sort().map((id) =>
    element('li', {}, element('code', {}, id)))));
}

// A small label beside the pointer, for bars.
function followPointer() {
  const tip = byId('tip');
  const show = (event) => {
    const words = event.target.dataset && event.target.dataset.tip;
    tip.hidden = !words;
    if (!words) return;
    tip.textContent = words;
    const left = Math.min(event.pageX + 12, scrollX + document.documentElement.clientWidth - tip.offsetWidth - 8);
    tip.style.left = `${Math.max(left, 8)}px`;
    tip.style.top = `${event.pageY + 16}px`;
  };
  document.addEventListener('pointerover', show);
  document.addEventListener('pointerdown', show);
}

// Colours follow the system; paper is light and narrow.
function followTheme() {
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', drawAll);
  const setPaper = (isPaper) => {
    document.documentElement.classList.toggle('paper', isPaper);
    drawAll();
  };
  addEventListener('beforeprint', () => setPaper(true));
  addEventListener('afterprint', () => setPaper(false));
}

function show() {
  showHead();
  showNotes();
  if (!data.counts.events) {
    const message = byId('message');
    message.hidden = false;
    message.textContent = 'No events are recorded in this period.' +
      (data.counts.first ? ` The database begins on ${minute(data.counts.first)}.` : '');
    for (const part of document.querySelectorAll('.part:not(#notes)')) part.hidden = true;
    return;
  }
  byId('overview').append(...data.levels.map(tile));
  byId('levels').append(...data.levels.map(showLevel));
  showJoins();
  showDisconnects();
  showSignals();
  showClients();
  showTimelines();
  showSteers();
  showChanges();
  drawAll();
  followTheme();
  followPointer();
}

show();
