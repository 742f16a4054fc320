'use strict';
// The JSON-RPC client of vg-webd and the small DOM helpers the other scripts share.

const api = {
  csrf: '',
  seq: 0,
  onSessionLost: null,
};

class RpcError extends Error {
  constructor(code, message, data) {
    super(message);
    this.code = code;
    this.data = data || {};
  }
  get problems() {
    return Array.isArray(this.data.problems) ? this.data.problems : [];
  }
}

// A call that never reached the module (network down, address changed, time-out) has code 0.
const UNREACHABLE = 0;

async function rpc(method, params, opts) {
  const timeout = (opts && opts.timeout) || 60000;
  const headers = { 'Content-Type': 'application/json' };
  if (method !== 'session.login' && method !== 'session.info') headers['X-CSRF-Token'] = api.csrf;
  const body = JSON.stringify({ jsonrpc: '2.0', id: ++api.seq, method, params: params || {} });
  const abort = new AbortController();
  const timer = setTimeout(() => abort.abort(), timeout);
  let resp;
  let reply;
  try {
    resp = await window.fetch('/api', {
      method: 'POST', credentials: 'same-origin', headers, body, signal: abort.signal,
    });
    reply = await resp.json();
  } catch (e) {
    if (resp && resp.status !== 200) throw httpError(method, resp.status);
    throw new RpcError(UNREACHABLE, 'The module did not answer (' + (e.message || e) + ').');
  } finally {
    clearTimeout(timer);
  }
  if (reply && reply.error) {
    const err = new RpcError(reply.error.code, reply.error.message || 'failed', reply.error.data);
    if (err.code === 401 && method !== 'session.login' && api.onSessionLost) api.onSessionLost();
    throw err;
  }
  if (!reply || !('result' in reply)) throw httpError(method, resp.status);
  return reply.result;
}

function httpError(method, status) {
  return new RpcError(status === 401 || status === 403 ? status : -32603,
    method + ': the server answered HTTP ' + status + ' without a result.');
}

// el('p', {class: 'x', onclick: f}, 'text', child...) builds an element.
function el(tag, attrs, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(attrs || {})) {
    if (value === undefined || value === null || value === false) continue;
    if (key.startsWith('on')) node.addEventListener(key.slice(2), value);
    else if (key === 'text') node.textContent = value;
    else node.setAttribute(key, value === true ? '' : value);
  }
  for (const child of children.flat()) {
    if (child === null || child === undefined || child === false) continue;
    node.append(child instanceof Node ? child : String(child));
  }
  return node;
}

let uidCounter = 0;
function uid(prefix) {
  uidCounter += 1;
  return (prefix || 'u') + uidCounter;
}

const $ = (id) => document.getElementById(id);

// The shared status line (polite) and alert line (assertive).
function say(text, kind) {
  const box = $(kind === 'error' ? 'alert' : 'notice');
  box.textContent = '';
  if (text) box.append(el('p', { class: kind || 'info' }, text));
}

function errorText(err) {
  if (!(err instanceof RpcError)) return String(err && err.message ? err.message : err);
  const parts = [err.message];
  for (const p of err.problems) parts.push(p.path + ': ' + p.problem);
  return parts.join(' ');
}

function show(value) {
  if (value === undefined) return '(not set)';
  if (value === null) return 'none';
  return typeof value === 'string' ? value : JSON.stringify(value);
}

function sleep(ms) {
  return new Promise((resolve) => setTimeout(resolve, ms));
}

// Every problem the server finds in a document ([] when none): its answer, or its refusal.
async function validateDocument(doc) {
  try {
    const r = await rpc('config.validate', { document: doc });
    return (r && r.problems) || [];
  } catch (e) {
    if (e.code === 2 && e.problems.length) return e.problems;
    throw e;
  }
}
