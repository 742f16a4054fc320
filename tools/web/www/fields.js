'use strict';
// The controls of one setting (leaf), one group of settings (object) and one list (array). Each
// control has .el (its element), .get() ({present, value} for the document), .setPath(path,
// label) (list entries are renumbered when one is removed) and .setForbidden(bool).

function leafCtrl(n, key, path, value, present, ctx, opts) {
  const info = describeLeaf(n, key, ctx.resolve);
  const id = uid('f');
  const hint = info.help ? el('p', { class: 'hint', id: id + 'h' }, info.help) : null;
  const problem = el('p', { class: 'problem', id: id + 'p', hidden: true });
  const input = leafInput(info, id, value, present, ctx, opts);
  input.setAttribute('aria-describedby', (hint ? hint.id + ' ' : '') + problem.id);
  const label = el('label', { for: id }, (opts && opts.label) || info.title);
  const box = el('div', { class: 'field' }, label, input, hint, problem);
  const initial = input.value;
  let forbidden = false;
  const ctrl = {
    el: box, input, leaf: true,
    setPath(p, newLabel) {
      input.name = p;
      box.dataset.path = p;
      if (newLabel) label.textContent = newLabel;
    },
    setForbidden(f) {
      forbidden = f;
      box.hidden = f;
      input.disabled = f || (!ctx.editable && input.tagName === 'SELECT');
    },
    changed: () => !forbidden && input.value !== initial,
    get() {
      if (forbidden) return { present: false };
      if (input.value === initial) return present ? { present: true, value } : { present: false };
      return { present: true, value: leafValue(info, input) };
    },
  };
  ctrl.setPath(path);
  input.addEventListener('input', () => {
    input.classList.toggle('changed', ctrl.changed());
    if (info.check.maxBytes !== undefined) checkBytes(input, info.check.maxBytes);
    ctx.changed();
  });
  input.addEventListener('change', () => ctx.changed());
  return ctrl;
}

function leafInput(info, id, value, present, ctx, opts) {
  let input;
  if (info.kind === 'select') {
    input = el('select', { id });
    const choices = info.choices.slice();
    let at = present ? choices.findIndex((c) => c === value) : -1;
    if (present && at < 0) at = choices.push(value) - 1;
    if (!present || info.nullable) input.append(el('option', { value: '' }, present ? 'none' : '(not set)'));
    choices.forEach((c, i) => input.append(el('option', { value: 'o' + i }, show(c))));
    input.value = at >= 0 ? 'o' + at : '';
    input.choices = choices;
    if (!ctx.editable) input.disabled = true;
    return input;
  }
  const attrs = { id, type: info.kind === 'number' ? 'number' : 'text', autocomplete: 'off' };
  Object.assign(attrs, constraintAttrs(info));
  if (info.secret) {
    attrs.type = 'password';
    attrs.autocomplete = 'new-password';
  }
  if (info.kind === 'number' && !info.nullable && present) attrs.required = true;
  if (opts && opts.required && info.kind !== 'text') attrs.required = true;
  if (info.kind === 'const' || !ctx.editable) attrs.readonly = true;
  input = el('input', attrs);
  if (info.secret && value === MASK) {
    input.placeholder = 'unchanged';
    input.value = '';
  } else if (info.nullable && value === null) {
    input.placeholder = 'none';
    input.value = '';
  } else if (present) {
    input.value = typeof value === 'string' ? value : JSON.stringify(value);
  }
  return input;
}

// The value a changed input stands for.
function leafValue(info, input) {
  const raw = input.value;
  if (info.kind === 'select') return raw === '' ? null : input.choices[Number(raw.slice(1))];
  if (raw === '' && info.nullable) return null;
  if (info.kind === 'number') return raw === '' ? null : Number(raw);
  return raw;
}

function checkBytes(input, max) {
  const n = new TextEncoder().encode(input.value).length;
  input.setCustomValidity(n > max ? 'Takes at most ' + max + ' bytes; this text has ' + n + '.' : '');
}

function groupBox(tag, n, path, legend, cls) {
  const id = uid('g');
  const box = el(tag, { class: cls, 'data-path': path });
  if (legend !== null) box.append(el('legend', {}, legend));
  const problem = el('p', { class: 'problem', id: id + 'p', hidden: true });
  if (n.description && legend !== null) {
    box.append(el('p', { class: 'hint', id: id + 'h' }, n.description));
    box.setAttribute('aria-describedby', id + 'h');
  }
  box.append(problem);
  return box;
}

function objectCtrl(n, key, path, value, present, ctx, opts) {
  const legend = opts && 'legend' in opts ? opts.legend : String(key);
  const box = groupBox(legend === null ? 'div' : 'fieldset', n, path, legend, 'group');
  const children = {};
  const required = Array.isArray(n.required) ? n.required : [];
  for (const [k, sub] of Object.entries(n.properties)) {
    let childLegend = /^[0-9]+$/.test(k) && legend !== null ? legend + ' ' + k : k;
    if (opts && opts.top) childLegend = null;
    children[k] = makeCtrl(sub, k, joinPath(path, k), hasKey(value, k) ? value[k] : undefined,
      present && hasKey(value, k), ctx, { legend: childLegend, required: required.includes(k) });
    box.append(children[k].el);
  }
  const rules = conditionalRules(n, ctx.resolve);
  const applyRules = () => {
    const forbidden = forbiddenKeys(rules, children);
    for (const [k, c] of Object.entries(children)) c.setForbidden(forbidden.has(k));
  };
  if (rules.length) {
    box.addEventListener('change', applyRules);
    applyRules();
  }
  return {
    el: box, children,
    setPath(p, newLegend) {
      box.dataset.path = p;
      if (newLegend && box.firstChild.tagName === 'LEGEND') box.firstChild.textContent = newLegend;
      for (const [k, c] of Object.entries(children)) c.setPath(joinPath(p, k));
    },
    setForbidden(f) {
      box.hidden = f;
      for (const c of Object.values(children)) c.setForbidden(f);
    },
    get() {
      const out = isObject(value) && present ? Object.assign({}, value) : {};
      let any = present;
      for (const [k, c] of Object.entries(children)) {
        const r = c.get();
        if (r.present) { out[k] = r.value; any = true; } else delete out[k];
      }
      return any ? { present: true, value: out } : { present: false };
    },
  };
}

// allOf/if/then (and else): keys that the values of other keys rule out ("then": {key: false}).
function conditionalRules(n, resolve) {
  const rules = [];
  for (const part of (n.allOf || []).concat(n.if ? [n] : []).map(resolve)) {
    if (!part.if) continue;
    const off = (s) => Object.entries((s && s.properties) || {}).filter(([, v]) => v === false).map(([k]) => k);
    rules.push({ test: part.if, then: off(part.then), else: off(part.else) });
  }
  return rules;
}

function forbiddenKeys(rules, children) {
  const now = {};
  for (const [k, c] of Object.entries(children)) {
    if (!c.leaf) continue;
    const r = c.get();
    if (r.present) now[k] = r.value;
  }
  const out = new Set();
  for (const rule of rules) {
    for (const k of matches(rule.test, now) ? rule.then : rule.else) out.add(k);
  }
  return out;
}

// Enough of a schema check for an "if": required keys, and enum or const of properties.
function matches(test, obj) {
  for (const k of test.required || []) if (!(k in obj)) return false;
  for (const [k, s] of Object.entries(test.properties || {})) {
    if (!(k in obj) || typeof s !== 'object') continue;
    if (Array.isArray(s.enum) && !s.enum.includes(obj[k])) return false;
    if ('const' in s && s.const !== obj[k]) return false;
  }
  return true;
}

// One entry of a list: its control (a group or one input) and, for an admin, a Remove button.
function listEntry(items, key, path, label, value, has, ctx, onRemove) {
  const ctrl = makeCtrl(items, key, path, value, has, ctx, { legend: label, label });
  const entry = { ctrl, li: el('li', {}, ctrl.el), name: el('span', { class: 'vh' }, ' ' + label) };
  if (ctx.editable) {
    entry.li.append(el('button', { type: 'button', class: 'remove', onclick: () => onRemove(entry) },
      'Remove', entry.name));
  }
  return entry;
}

function arrayCtrl(n, key, path, value, present, ctx) {
  const items = ctx.resolve(n.items || {});
  const box = groupBox('fieldset', n, path, String(key), 'group list');
  const list = el('ol', { class: 'entries' });
  const entries = [];
  const maxItems = typeof n.maxItems === 'number' ? n.maxItems : Infinity;
  const entryLabel = (i) => (items.title || key) + ' ' + (i + 1);
  const add = el('button', { type: 'button', class: 'add' }, 'Add ' + key + ' entry');
  const renumber = () => {
    entries.forEach((e, i) => {
      e.ctrl.setPath(path + '[' + i + ']', entryLabel(i));
      e.name.textContent = ' ' + entryLabel(i);
    });
    add.disabled = entries.length >= maxItems;
    ctx.changed();
  };
  const remove = (entry) => {
    entries.splice(entries.indexOf(entry), 1);
    entry.li.remove();
    renumber();
    add.focus();
  };
  const addEntry = (v, has) => {
    const i = entries.length;
    const entry = listEntry(items, key, path + '[' + i + ']', entryLabel(i), v, has, ctx, remove);
    entries.push(entry);
    list.append(entry.li);
    return entry.ctrl;
  };
  if (Array.isArray(value)) value.forEach((v) => addEntry(v, true));
  box.append(list);
  if (ctx.editable) {
    add.addEventListener('click', () => {
      const first = addEntry(undefined, false).el.querySelector('input, select');
      renumber();
      if (first) first.focus();
    });
    add.disabled = entries.length >= maxItems;
    box.append(add);
  }
  return {
    el: box,
    setPath(p) { path = p; box.dataset.path = p; renumber(); },
    setForbidden(f) { box.hidden = f; entries.forEach((e) => e.ctrl.setForbidden(f)); },
    get() {
      if (!present && !entries.length) return { present: false };
      return { present: true, value: entries.map((e) => entryValue(e.ctrl)) };
    },
  };
}

// An entry the user added and left empty is still sent, so that the server names what it lacks.
function entryValue(ctrl) {
  const r = ctrl.get();
  if (r.present) return r.value;
  return ctrl.leaf ? '' : {};
}
