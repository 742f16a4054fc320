'use strict';
// Status, Events and Configuration (backup, restore, history, revert).

function wireViews() {
  $('status-refresh').addEventListener('click', () => refreshStatus().catch(fail));
  $('history-refresh').addEventListener('click', () => refreshHistory().catch(fail));
  $('download').addEventListener('click', () => downloadBackup().catch(fail));
  $('upload').addEventListener('change', (e) => restoreBackup(e.target).catch(fail));
  $('revert-now').addEventListener('click', () => revertNow().catch(fail));
}

// Any value as readable nested lists and tables: an object is a list of names and values, a list
// of objects a table.
function renderValue(value, name) {
  if (Array.isArray(value)) {
    if (!value.length) return el('span', { class: 'none' }, 'none');
    if (value.every(isObject)) return renderTable(value, name);
    return el('ul', {}, value.map((v) => el('li', {}, renderValue(v, name))));
  }
  if (isObject(value)) {
    const list = el('dl', {});
    for (const [k, v] of Object.entries(value)) list.append(el('dt', {}, k), el('dd', {}, renderValue(v, k)));
    return list;
  }
  if (value === null || value === undefined) return el('span', { class: 'none' }, '—');
  return String(value);
}

function renderTable(rows, name) {
  const keys = [];
  for (const r of rows) for (const k of Object.keys(r)) if (!keys.includes(k)) keys.push(k);
  const table = el('table', {}, el('caption', {}, name),
    el('thead', {}, el('tr', {}, keys.map((k) => el('th', { scope: 'col' }, k)))),
    el('tbody', {}, rows.map((r) => el('tr', {}, keys.map((k) => el('td', { 'data-key': k }, renderValue(r[k], k)))))));
  return el('div', { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': name }, table);
}

async function refreshStatus() {
  const status = await rpc('status');
  const body = $('status-body');
  body.textContent = '';
  for (const [k, v] of Object.entries(status)) {
    const title = SECTION_TITLES[k] || k.charAt(0).toUpperCase() + k.slice(1);
    body.append(el('section', { class: 'status-part', 'aria-label': title, 'data-key': k },
      el('h3', {}, title), renderValue(v, title)));
  }
  $('status-when').textContent = 'as of ' + new Date().toLocaleTimeString();
  return status;
}

let statusTimer = 0;
function refreshStatusSoon() {
  clearTimeout(statusTimer);
  statusTimer = setTimeout(() => refreshStatus().catch(fail), 250);
}

// Live events (Server-Sent Events); the EventSource reconnects by itself.
let events = null;
const EVENT_NAMES = ['station', 'datacall', 'config'];

function openEvents() {
  closeEvents();
  events = new EventSource('/api/events');
  for (const name of EVENT_NAMES) events.addEventListener(name, (m) => onEvent(name, m.data));
  events.addEventListener('message', (m) => onEvent('message', m.data));
  events.addEventListener('open', () => { $('events-state').textContent = 'Connected: new events appear below.'; });
  events.addEventListener('error', () => {
    $('events-state').textContent = events && events.readyState === EventSource.CLOSED
      ? 'Not connected.' : 'Connection lost; reconnecting…';
  });
}

function closeEvents() {
  if (events) events.close();
  events = null;
}

function onEvent(name, raw) {
  let data;
  try { data = JSON.parse(raw); } catch (e) { data = raw; }
  const text = isObject(data)
    ? Object.entries(data).map(([k, v]) => k + ' ' + show(v)).join(', ') : show(data);
  const time = new Date();
  const item = el('li', { 'data-event': name },
    el('time', { datetime: time.toISOString() }, time.toLocaleTimeString()), ' ',
    el('strong', {}, name), ' ', el('span', {}, text));
  const list = $('events-list');
  list.prepend(item);
  while (list.children.length > 200) list.lastChild.remove();
  refreshStatusSoon();
  if (name === 'config') onConfigEvent(isObject(data) ? data : {});
}

function onConfigEvent(data) {
  if (data.what === 'reverted' && app.pending) return settle(app.pending, 'reverted');
  if (data.what === 'confirmed' && app.pending) return settle(app.pending, 'confirmed');
  refreshHistory().catch(() => {});
  if (app.pending) return null;
  if (forms.pending().length) say('The configuration was changed elsewhere; your unsaved changes may be out of date.');
  else loadSettings().catch(() => {});
  return null;
}

async function refreshHistory() {
  const result = await rpc('config.history');
  const rows = (result.history || []).slice();
  const box = $('history');
  box.textContent = '';
  if (!rows.length) {
    box.append(el('p', {}, 'No apply yet.'));
    return;
  }
  const keys = [];
  for (const r of rows) for (const k of Object.keys(r)) if (!keys.includes(k)) keys.push(k);
  const head = keys.map((k) => el('th', { scope: 'col' }, k));
  if (app.editable) head.push(el('th', { scope: 'col' }, 'action'));
  const body = rows.map((r) => el('tr', {}, keys.map((k) => el('td', {}, show(r[k]))),
    app.editable ? el('td', {}, el('button', { type: 'button', onclick: () => rollback(r).catch(fail) },
      'Rollback', el('span', { class: 'vh' }, ' apply ' + r.n))) : null));
  box.append(el('div', { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': 'History' },
    el('table', {}, el('caption', {}, 'Last applies, newest first'), el('thead', {}, el('tr', {}, head)),
      el('tbody', {}, body))));
}

async function rollback(entry) {
  const text = el('p', {}, 'Apply back what apply ' + entry.n + ' (' + show(entry.when) + ', ' +
    show(entry.changes) + ' change(s)) replaced?');
  if ((await askDialog('Rollback', text, false)) === null) return;
  say('Rolling back…');
  const r = await rpc('config.rollback', { n: entry.n }, { timeout: 180000 });
  say(r.message || 'Rolled back.');
  refreshAll();
}

async function revertNow() {
  const r = await rpc('config.revert', {}, { timeout: 180000 }).catch((e) => {
    if (e.code === 1) return { output: [], messages: [e.message] };
    throw e;
  });
  const lines = (r.output || []).concat(r.messages || []);
  say(lines.join(' ') || 'Reverted.');
  if (app.pending) settle(app.pending, 'reverted');
  else refreshAll();
}

async function downloadBackup() {
  const withSecrets = $('with-secrets') && $('with-secrets').checked;
  const doc = await rpc('config.export', withSecrets ? { show_secrets: true } : {});
  const blob = new Blob([JSON.stringify(doc, null, 2) + '\n'], { type: 'application/json' });
  const stamp = new Date().toISOString().replace(/[:.]/g, '-').slice(0, 19);
  const link = el('a', { href: URL.createObjectURL(blob), download: 'module-config-' + stamp + '.json' });
  document.body.append(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
  say('Backup downloaded.');
}

async function restoreBackup(input) {
  const file = input.files && input.files[0];
  const list = $('upload-problems');
  list.textContent = '';
  if (!file) return;
  let doc;
  try {
    doc = JSON.parse(await file.text());
  } catch (e) {
    say(file.name + ' is not a JSON document: ' + e.message, 'error');
    input.value = '';
    return;
  }
  const showList = (problems) => {
    for (const p of problems) list.append(el('li', {}, el('span', { class: 'path' }, p.path), ': ', p.problem));
  };
  const problems = await validateDocument(doc);
  input.value = '';
  if (problems.length) {
    showList(problems);
    say(file.name + ' has ' + problems.length + ' problem(s); nothing was applied.', 'error');
    return;
  }
  await applyFlow(doc, 'Restore ' + file.name, showList);
}
