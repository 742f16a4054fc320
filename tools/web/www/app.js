'use strict';
// The console: login, navigation, Save & Apply with the confirmation that keeps a change.

const SECTION_TITLES = { wifi: 'Wi-Fi', datacall: 'Data call', network: 'Network', usb: 'USB' };
const app = { session: null, editable: false, views: [], pending: null, validateTimer: 0, validateSeq: 0 };

async function boot() {
  api.onSessionLost = () => showLogin('Your session has ended: log in again.');
  $('login-form').addEventListener('submit', login);
  $('logout').addEventListener('click', logout);
  $('save').addEventListener('click', saveAndApply);
  $('discard').addEventListener('click', () => loadSettings().catch(fail));
  $('dialog-cancel').addEventListener('click', () => $('dialog').close('cancel'));
  window.addEventListener('hashchange', () => showSection(location.hash.slice(1), true));
  wireViews();
  try {
    await start(await rpc('session.info'));
  } catch (e) {
    showLogin(e.code === 401 ? '' : errorText(e));
  }
}

function showLogin(message) {
  closeEvents();
  app.session = null;
  for (const id of ['nav', 'who', 'savebar', 'apply-panel']) if ($(id)) $(id).hidden = true;
  for (const v of document.querySelectorAll('.view')) v.hidden = true;
  $('login-view').hidden = false;
  $('login-error').textContent = message || '';
  $('username').focus();
}

async function login(event) {
  event.preventDefault();
  $('login-error').textContent = '';
  try {
    const session = await rpc('session.login', { username: $('username').value, password: $('password').value });
    $('password').value = '';
    // A viewer's page has no controls to change anything: another user starts afresh.
    if (document.body.classList.contains('viewer') && session.role !== 'viewer') return location.reload();
    await start(session);
  } catch (e) {
    $('login-error').textContent = e.code === 401 ? 'Wrong user name or password.' : errorText(e);
  }
}

async function logout() {
  try { await rpc('session.logout'); } catch (e) { /* the session is gone either way */ }
  closeEvents();
  location.hash = '';
  location.reload();
}

async function start(session) {
  app.session = session;
  api.csrf = session.csrf || '';
  app.editable = session.role === 'admin';
  document.body.classList.toggle('viewer', !app.editable);
  if (!app.editable) for (const e of document.querySelectorAll('.admin-only')) e.remove();
  $('who-text').textContent = session.user + ' (' + session.role + ')';
  $('who').hidden = false;
  $('login-view').hidden = true;
  say('Loading…');
  const [schema] = await Promise.all([rpc('schema'), refreshStatus()]);
  app.schema = schema;
  await loadSettings();
  buildNav();
  openEvents();
  refreshHistory().catch(fail);
  showSection(location.hash.slice(1) || 'status', false);
  say('');
}

// (Re)builds every settings form from the schema and a fresh export.
async function loadSettings() {
  const doc = await rpc('config.export');
  const box = $('settings-views');
  const current = app.current;
  box.textContent = '';
  $('doc-fields').textContent = '';
  app.views = [];
  forms.build(app.schema, doc, app.editable, placeSetting, settingsChanged);
  updatePending();
  forms.clearProblems();
  $('problems').textContent = '';
  if (current) showSection(current, false);
}

// A top-level group becomes a section of its own; a top-level setting goes to Configuration.
function placeSetting(key, ctrl, node) {
  if (ctrl.leaf || !ctrl.children) {
    $('doc-fields').append(ctrl.el);
    return;
  }
  const title = SECTION_TITLES[key] || node.title || key;
  const section = el('section', { id: 's-' + key, class: 'view settings', 'aria-labelledby': 'h-' + key, hidden: true },
    el('h2', { id: 'h-' + key, tabindex: '-1' }, title),
    node.description && !SECTION_TITLES[key] ? el('p', { class: 'hint' }, node.description) : null,
    el('form', { novalidate: true, onsubmit: (e) => { e.preventDefault(); if (app.editable) saveAndApply(); } }, ctrl.el));
  $('settings-views').append(section);
  app.views.push({ name: key, title });
}

function buildNav() {
  const list = $('nav-list');
  list.textContent = '';
  const views = [{ name: 'status', title: 'Status' }].concat(app.views,
    [{ name: 'config', title: 'Configuration' }, { name: 'events', title: 'Events' }]);
  for (const v of views) list.append(el('li', {}, el('a', { href: '#' + v.name, 'data-view': v.name }, v.title)));
  $('nav').hidden = false;
}

function showSection(name, focus) {
  if (!app.session) return;
  const target = $('s-' + name) || $('s-status');
  for (const v of document.querySelectorAll('.view')) v.hidden = v !== target;
  app.current = target.id.slice(2);
  for (const a of document.querySelectorAll('#nav-list a')) {
    if (a.dataset.view === app.current) a.setAttribute('aria-current', 'page');
    else a.removeAttribute('aria-current');
  }
  if ($('savebar')) $('savebar').hidden = !target.classList.contains('settings');
  if (focus) target.querySelector('h2').focus();
}

function settingsChanged() {
  updatePending();
  clearTimeout(app.validateTimer);
  if (app.editable) app.validateTimer = setTimeout(() => validateForms().catch(() => {}), 700);
}

function updatePending() {
  if (!$('pending')) return;
  const n = forms.pending().length;
  $('pending').textContent = n ? n + (n === 1 ? ' setting changed' : ' settings changed') + ', not applied.' : 'No changes.';
}

// Asks the server for every problem of the document the forms give; shows each at its input.
async function validateForms() {
  const seq = ++app.validateSeq;
  const problems = await validateDocument(forms.document());
  if (seq !== app.validateSeq) return null;
  showProblems(problems);
  return problems;
}

function showProblems(problems) {
  forms.clearProblems();
  const list = $('problems');
  list.textContent = '';
  for (const p of problems) {
    const at = forms.showProblem(p);
    const go = at ? el('a', { href: '#', onclick: (e) => { e.preventDefault(); reveal(at); } }, p.path) : p.path;
    list.append(el('li', {}, go, ': ', p.problem));
  }
}

function reveal(node) {
  const section = node.closest('.view');
  if (section) showSection(section.id.slice(2), false);
  (node.matches('input, select') ? node : node.querySelector('input, select, legend') || node).focus();
  node.scrollIntoView({ block: 'center' });
}

// The browser's own checks first (ranges, lengths, patterns from the schema).
function checkInputs() {
  const bad = forms.inputs().find((i) => !i.checkValidity());
  if (!bad) return true;
  reveal(bad);
  bad.reportValidity();
  say(bad.labels[0].textContent + ': ' + bad.validationMessage, 'error');
  return false;
}

async function saveAndApply() {
  say('');
  if (!checkInputs()) return;
  const problems = await validateForms().catch(fail);
  if (problems === undefined) return;
  if (problems && problems.length) {
    say(problems.length + ' problem(s) to fix before anything is applied.', 'error');
    return;
  }
  await applyFlow(forms.document(), 'Save & Apply', showProblems);
}

// Shows what would change, applies on OK with the confirmation window the user sets, and then
// keeps the change by confirming it once the page reaches the module again.
async function applyFlow(doc, title, onProblems) {
  try {
    say('Comparing with the module…');
    const diff = await rpc('config.diff', { document: doc });
    const changes = diff.changes || [];
    if (!changes.length) {
      say('Nothing to apply: the module already has these settings.');
      return;
    }
    say('');
    const seconds = await askDialog(title, changesList(changes), true);
    if (seconds === null) {
      say('Nothing was applied.');
      return;
    }
    say('Applying…');
    let result = null;
    try {
      result = await rpc('config.apply', { document: doc, confirm: seconds }, { timeout: 180000 });
    } catch (e) {
      if (e.code !== UNREACHABLE) throw e;
    }
    say(result ? result.message || 'Applied.' : 'The module did not answer the apply; it may have applied it.');
    if (!result || result.changed !== false) watchConfirm(seconds);
  } catch (e) {
    if (e.problems && e.problems.length && onProblems) onProblems(e.problems);
    fail(e);
  }
}

function changesList(changes) {
  const list = el('ul', { class: 'changes' });
  for (const c of changes) {
    const before = 'before' in c ? c.before : c.old;
    const after = 'after' in c ? c.after : c.new;
    list.append(el('li', {}, el('span', { class: 'path' }, c.path), ' ',
      el('span', { class: 'before' }, show(before)), ' → ', el('span', { class: 'after' }, show(after))));
  }
  return list;
}

// Resolves to the seconds of the confirmation window (or true without one), or null on Cancel.
function askDialog(title, body, withSeconds) {
  const dialog = $('dialog');
  $('dialog-h').textContent = title;
  $('dialog-body').textContent = '';
  $('dialog-body').append(body);
  $('confirm-row').hidden = !withSeconds;
  $('confirm-secs').disabled = !withSeconds;
  $('dialog-ok').textContent = withSeconds ? 'Apply' : title;
  dialog.returnValue = '';
  return new Promise((resolve) => {
    dialog.addEventListener('close', () => {
      if (dialog.returnValue !== 'ok') resolve(null);
      else resolve(withSeconds ? Number($('confirm-secs').value) : true);
    }, { once: true });
    dialog.showModal();
    $('dialog-ok').focus();
  });
}

function applyMessage(text) {
  $('apply-panel').hidden = !text;
  $('apply-msg').textContent = text || '';
}

async function watchConfirm(seconds) {
  const token = {};
  app.pending = token;
  const deadline = Date.now() + seconds * 1000;
  applyMessage('Applied; confirming it. The module puts the previous settings back in ' + seconds +
    ' s unless this page reaches it and confirms.');
  while (app.pending === token) {
    try {
      const r = await rpc('config.confirm', {}, { timeout: 5000 });
      return settle(token, 'confirmed', r);
    } catch (e) {
      if (app.pending !== token) return null;
      if (e.code === 1) return settle(token, 'reverted', e);
      if (e.code !== UNREACHABLE && e.code !== 8 && e.code !== 9) return settle(token, 'failed', e);
      if (Date.now() > deadline) {
        applyMessage('The page has not reached the module for ' + seconds + ' s: the module puts the ' +
          'previous settings back by itself. Waiting to hear from it…');
        const decided = await lastDecision();
        if (decided === 'reverted' || decided === 'confirmed') return settle(token, decided);
      }
      if (Date.now() > deadline + 120000) { app.pending = null; return null; }
      await sleep(2000);
    }
  }
  return null;
}

// How the last change that waited for confirmation ended, as the module's status tells it.
async function lastDecision() {
  try {
    const c = (await rpc('status', {}, { timeout: 5000 })).config;
    return c && !c.pending && c.last ? c.last.what : null;
  } catch (e) {
    return null;
  }
}

function settle(token, outcome, detail) {
  if (token && app.pending !== token) return;
  app.pending = null;
  const lines = detail && Array.isArray(detail.output) ? detail.output.join(' ') : '';
  if (outcome === 'confirmed') applyMessage('The change is confirmed and stays. ' + lines);
  else if (outcome === 'reverted') applyMessage('The change was reverted: the module has its previous settings again.');
  else applyMessage('Confirming failed: ' + errorText(detail));
  refreshAll();
}

function refreshAll() {
  refreshStatus().catch(fail);
  refreshHistory().catch(fail);
  loadSettings().catch(fail);
}

function fail(err) {
  say(errorText(err), 'error');
}

document.addEventListener('DOMContentLoaded', boot);
