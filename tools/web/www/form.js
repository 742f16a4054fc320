'use strict';
// Forms generated from the configuration document's JSON Schema. Each setting is an input whose
// name is its path in the document (wifi.country, network.snat[0].global-port), the same path the
// server names in its problems. A form gives back the last exported document with only the
// settings the user changed replaced: a value left as exported is sent exactly as exported.

const IPV4 = '((25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])\\.){3}(25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])';
const MASK = '********';

function makeResolver(schema) {
  return function resolve(node) {
    let guard = 0;
    while (node && typeof node.$ref === 'string' && node.$ref.startsWith('#') && guard++ < 32) {
      let target = schema;
      for (const part of node.$ref.slice(1).split('/').filter(Boolean)) {
        target = target && target[decodeURIComponent(part).replace(/~1/g, '/').replace(/~0/g, '~')];
      }
      node = target;
    }
    return node || {};
  };
}

function joinPath(path, key) {
  return path ? path + '.' + key : String(key);
}

const isObject = (v) => v !== null && typeof v === 'object' && !Array.isArray(v);
const hasKey = (v, k) => isObject(v) && Object.prototype.hasOwnProperty.call(v, k);
const typeIs = (node, t) => node.type === t || (Array.isArray(node.type) && node.type.includes(t));

// What a leaf takes: the kind of input, its choices, its checks, its label and its help.
function describeLeaf(node, key, resolve) {
  const branches = (node.anyOf || node.oneOf || []).map(resolve);
  const nullable = typeIs(node, 'null') || branches.some((b) => typeIs(b, 'null'));
  const named = Array.isArray(node.enum) ? node : branches.find((b) => Array.isArray(b.enum));
  const primary = branches.length
    ? branches.find((b) => !typeIs(b, 'null') && !typeIs(b, 'object')) || {}
    : node;
  const title = node.title || primary.title || String(key);
  const help = [primary !== node ? primary.description : '', node.description]
    .filter(Boolean).map((d) => stripTitle(d, title));
  const info = { title, help: help.filter(Boolean).join('; '), nullable, secret: !!node.writeOnly };
  if ('const' in node) info.kind = 'const';
  else if (named) { info.kind = 'select'; info.choices = named.enum.slice(); }
  else if (typeIs(primary, 'boolean')) { info.kind = 'select'; info.choices = [true, false]; }
  else if (typeIs(primary, 'integer') || typeIs(primary, 'number')) info.kind = 'number';
  else info.kind = 'text';
  info.check = primary;
  info.integer = typeIs(primary, 'integer');
  return info;
}

// "Wi-Fi work mode (0 to 4)" under the label "Wi-Fi work mode" is shown as "0 to 4".
function stripTitle(description, title) {
  if (!description.startsWith(title) || description === title) return description;
  let rest = description.slice(title.length).trim();
  if (/^\([^()]*(\([^()]*\)[^()]*)*\)$/.test(rest)) rest = rest.slice(1, -1);
  return rest.replace(/^[;,:]\s*/, '');
}

function constraintAttrs(info) {
  const c = info.check;
  const a = {};
  if (info.kind === 'number') {
    if (typeof c.minimum === 'number') a.min = c.minimum;
    if (typeof c.maximum === 'number') a.max = c.maximum;
    a.step = info.integer ? 1 : 'any';
    a.inputmode = 'numeric';
  } else if (info.kind === 'text') {
    if (typeof c.maxLength === 'number') a.maxlength = c.maxLength;
    if (typeof c.minLength === 'number' && c.minLength > 0) a.minlength = c.minLength;
    const pattern = c.format === 'ipv4' ? IPV4 : htmlPattern(c.pattern);
    if (pattern) a.pattern = pattern;
    if (c.format === 'ipv4') a.inputmode = 'decimal';
  }
  return a;
}

// A schema pattern matches anywhere unless anchored; an HTML pattern must match the whole value.
function htmlPattern(p) {
  if (typeof p !== 'string') return null;
  const whole = p.startsWith('^') && p.endsWith('$') && !p.endsWith('\\$') ? p : '[\\s\\S]*(?:' + p + ')[\\s\\S]*';
  try {
    new RegExp(whole, 'v');
    return whole;
  } catch (e) {
    return null;
  }
}

function makeCtrl(node, key, path, value, present, ctx, opts) {
  const n = ctx.resolve(node);
  if (isObject(n.properties)) return objectCtrl(n, key, path, value, present, ctx, opts);
  if (typeIs(n, 'array') || n.items) return arrayCtrl(n, key, path, value, present, ctx);
  return leafCtrl(n, key, path, value, present, ctx, opts);
}

// The settings of the whole document: built from the schema and the last export.
const forms = {
  root: null,
  doc: null,
  ctx: null,

  // place(key, ctrl, node) puts each top-level setting or group where it belongs in the page.
  build(schema, doc, editable, place, onChange) {
    const resolve = makeResolver(schema);
    this.doc = doc;
    this.ctx = { resolve, editable, changed: onChange };
    const root = resolve(schema);
    this.root = objectCtrl(root, '', '', doc, true, this.ctx, { legend: null, top: true });
    for (const [k, c] of Object.entries(this.root.children)) place(k, c, resolve(root.properties[k]));
  },

  document() {
    return this.root.get().value;
  },

  inputs() {
    return Array.from(document.querySelectorAll('.settings [name]')).filter((i) => !i.disabled);
  },

  // Paths whose values differ between two documents (a list that differs counts once).
  differences(a, b, path, out) {
    out = out || [];
    if (isObject(a) && isObject(b)) {
      for (const k of new Set(Object.keys(a).concat(Object.keys(b)))) {
        this.differences(a[k], b[k], joinPath(path || '', k), out);
      }
    } else if (JSON.stringify(a) !== JSON.stringify(b)) {
      out.push(path);
    }
    return out;
  },

  pending() {
    return this.root ? this.differences(this.doc, this.document()) : [];
  },

  clearProblems() {
    for (const p of document.querySelectorAll('.settings .problem')) {
      p.textContent = '';
      p.hidden = true;
    }
    for (const i of document.querySelectorAll('[aria-invalid]')) i.removeAttribute('aria-invalid');
  },

  // Shows each problem under the input (or group, or list) its path names; returns the
  // element it was shown at, or null when the path names nothing on the page.
  showProblem(problem) {
    let path = String(problem.path || '');
    while (path) {
      const box = document.querySelector('.settings [data-path="' + CSS.escape(path) + '"]');
      if (box) {
        const slot = box.querySelector(':scope > .problem');
        slot.append(el('span', {}, problem.problem));
        slot.hidden = false;
        const input = box.querySelector(':scope > input, :scope > select');
        if (input) input.setAttribute('aria-invalid', 'true');
        return input || box;
      }
      const up = path.replace(/(\[[0-9]+\]|\.[^.[]*)$/, '');
      if (up === path) break;
      path = up;
    }
    return null;
  },
};
