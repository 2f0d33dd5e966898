// The live list of exchanges and everything about one of them.
import {api, clock, copyButton, dateAndClock, emptyState, fields, h, moveWithArrows, outcomeBadge,
  plural, problemState, routeWords, sync, timeElement, valueElement} from './view.js';

const kPage = 200;

function section(title, note, ...content) {
  return h('section', {}, h('h3', {}, title, note ? h('small', {}, note) : null), ...content);
}

function entriesTable(entries) {
  return h('table', {class: 'entries'}, h('tbody', {}, entries.map((entry) => h('tr', {},
      h('th', {scope: 'row'}, entry.key), h('td', {}, valueElement(entry))))));
}

function codeBlock(text, bytes) {
  const cut = bytes > new TextEncoder().encode(text).length;
  return h('div', {class: 'code'}, h('pre', {tabindex: '0'}, text === '' ? '(no body)' : text),
      text === '' ? null : copyButton(text),
      cut ? h('p', {class: 'note'}, `The start of ${plural(bytes, 'byte')}.`) : null);
}

function identitySection(exchange, reveal) {
  const {identity} = exchange;
  if (identity === null) {
    return exchange.report === null ? null : section('Sealed identity', null,
        h('p', {class: 'note'}, 'It stays sealed: no key opens it. The key takes the bundle ' +
            'version of the host, which the report does not carry. Start the sandbox with ' +
            '--bundle-version ID=VERSION.'));
  }
  const button = h('button', {type: 'button', class: 'quiet', 'aria-pressed': String(identity.revealed),
    onclick: () => reveal(!identity.revealed)}, identity.revealed ? 'Hide values' : 'Show values');
  return section('Sealed identity', null, button, entriesTable(identity.entries));
}

function requestSection(exchange) {
  const lines = [`${exchange.method} ${exchange.target}`,
    ...(exchange.headers ?? []).map(([name, value]) => `${name}: ${value}`)].join('\n');
  return section('Request as sent', plural(exchange.bodyBytes, 'byte'),
      codeBlock(`${lines}\n\n${exchange.body}`, 0));
}

function detail(exchange, reveal, close) {
  const isRequest = exchange.kind === 'request';
  return h('article', {class: 'detail', 'aria-label': `Exchange ${exchange.id}`},
      h('header', {}, h('button', {type: 'button', class: 'quiet close', onclick: close,
        'aria-label': 'Close'}, 'Close'),
      h('p', {class: 'overline'}, `Exchange ${exchange.id}`), h('h2', {}, exchange.verdict),
      h('p', {class: 'under'}, outcomeBadge(exchange.outcome), ' ', exchange.route, ' · ',
          timeElement(exchange.timeMs, `${dateAndClock(exchange.timeMs)}`))),
      fields([
        ['Route', `${exchange.route}, ${routeWords[exchange.route] ?? ''}`],
        ['Client', exchange.client],
        ['At', [exchange.address, exchange.serverName ? `, TLS name ${exchange.serverName}` : '']],
        ['Fault', exchange.fault === null ? null :
          h('code', {}, exchange.fault === '' ? 'set by a program' : exchange.fault)],
        ['Signature', exchange.signature],
        ['Fingerprint', exchange.fingerprint ? h('a', {class: 'mono',
          href: `#/devices/${encodeURIComponent(exchange.fingerprint)}`}, exchange.fingerprint) : null],
        ['Given for', exchange.rule],
        ['Bundle version', exchange.bundleVersion],
        ['Connection', exchange.connection],
      ]),
      exchange.report === null ? null :
        section('Report', plural(exchange.report.length, 'entry').replace('entrys', 'entries'),
            entriesTable(exchange.report)),
      identitySection(exchange, reveal),
      isRequest ? requestSection(exchange) : null,
      isRequest ? section('Answer', exchange.status ? `status ${exchange.status}` : 'none',
          codeBlock(exchange.answer, exchange.answerBytes)) : null);
}

function answerWords(exchange) {
  if (exchange.kind === 'handshake') return '';
  return [exchange.status ? h('b', {}, exchange.status) : h('b', {}, 'none'), ' ',
    exchange.answer];
}

function rowOf(exchange) {
  return h('tr', {'data-id': exchange.id, onclick: (event) => {
    if (!event.target.closest('a')) location.hash = `#/exchanges/${exchange.id}`;
  }}, h('td', {class: 'time'}, timeElement(exchange.timeMs)),
  h('td', {class: 'route'}, h('a', {href: `#/exchanges/${exchange.id}`}, exchange.route)),
  h('td', {class: 'outcome'}, outcomeBadge(exchange.outcome)),
  h('td', {class: 'client'}, exchange.client),
  h('td', {class: 'verdict'}, exchange.verdict, exchange.fault ?
    h('code', {class: 'chip'}, exchange.fault) : null),
  h('td', {class: 'answer'}, answerWords(exchange)));
}

function option(value, text = value) {
  return h('option', {value}, text);
}

function filterBar(changed, clear) {
  const text = h('input', {type: 'search', placeholder: 'Filter by client, verdict, answer, host …',
    'aria-label': 'Filter by text', maxlength: 200, oninput: changed});
  const route = h('select', {'aria-label': 'Route', onchange: changed}, option('', 'All routes'),
      Object.keys(routeWords).map((name) => option(name)));
  const outcome = h('select', {'aria-label': 'Outcome', onchange: changed},
      option('', 'All outcomes'), option('answered', 'Answered'), option('refused', 'Refused'),
      option('fault', 'Fault'), option('failed', 'Failed handshakes'));
  const handshakes = h('input', {type: 'checkbox', onchange: changed});
  const element = h('div', {class: 'filters', role: 'search'}, text, route, outcome,
      h('label', {}, handshakes, 'All handshakes'),
      h('button', {type: 'button', class: 'quiet', onclick: clear}, 'Clear log'));
  return {element, query: () => {
    const query = new URLSearchParams({limit: kPage});
    if (text.value.trim() !== '') query.set('text', text.value.trim());
    if (route.value !== '') query.set('route', route.value);
    if (outcome.value !== '') query.set('outcome', outcome.value);
    if (handshakes.checked) query.set('handshakes', '1');
    return query;
  }, isFiltered: () => text.value.trim() !== '' || route.value !== '' || outcome.value !== ''};
}

export function exchangesView() {
  const rows = new Map();  // By number; an exchange never changes.
  let shown = '';          // The number of the exchange that is open.
  let revealed = false;
  let older = [];          // What was loaded beyond the first page.
  let newest = 0;

  const body = h('tbody');
  const list = h('table', {class: 'list'}, h('thead', {}, h('tr', {}, ['Time', 'Route', 'Outcome',
    'Client', 'Verdict', 'Answer'].map((name) => h('th', {scope: 'col'}, name)))), body);
  const more = h('button', {type: 'button', class: 'more', hidden: true,
    onclick: () => loadOlder()}, 'Load older');
  const note = h('div', {});
  const pane = h('div', {class: 'pane', hidden: true});
  const filters = filterBar(() => { older = []; refresh(); }, clearLog);
  const hint = h('p', {class: 'hint'}, h('kbd', {}, '↑'), h('kbd', {}, '↓'), ' move ',
      h('kbd', {}, 'Enter'), ' open ', h('kbd', {}, 'Esc'), ' close ', h('kbd', {}, '/'), ' filter');
  const element = h('div', {class: 'split'}, h('div', {class: 'listing'}, filters.element, list,
      note, more, hint), pane);
  moveWithArrows(body, 'a');

  function rowFor(exchange, isNew) {
    if (!rows.has(exchange.id)) {
      const row = rowOf(exchange);
      if (isNew) row.classList.add('new');
      rows.set(exchange.id, row);
    }
    return rows.get(exchange.id);
  }

  async function refresh() {
    const asked = filters.query();
    const {exchanges} = await api(`exchanges?${asked}`);
    if (String(asked) !== String(filters.query())) return;  // The filter has changed meanwhile.
    const oldest = exchanges.at(-1)?.id ?? 0;
    const all = [...exchanges, ...older.filter((exchange) => exchange.id < oldest)];
    sync(body, all.map((exchange) => rowFor(exchange, newest !== 0 && exchange.id > newest)));
    newest = Math.max(newest, all[0]?.id ?? 0);
    more.hidden = exchanges.length < kPage;
    list.hidden = all.length === 0;
    hint.hidden = all.length === 0;
    note.replaceChildren(...(all.length > 0 ? [] : [filters.isFiltered() ?
      emptyState('Nothing fits the filter', 'Try other words, or show all routes and outcomes.') :
      emptyState('Nothing has come in yet', 'Point a client at this sandbox: ',
          'load the environment file that the sandbox named at its start, then run ',
          h('code', {}, 'zorfp fingerprint'), '. Each exchange shows here at once.')]));
    mark();
  }

  async function loadOlder() {
    const query = filters.query();
    query.set('before', body.lastElementChild?.dataset.id ?? 0);
    const {exchanges} = await api(`exchanges?${query}`);
    older = [...older, ...exchanges];
    body.append(...exchanges.map((exchange) => rowFor(exchange, false)));
    more.hidden = exchanges.length < kPage;
  }

  async function clearLog() {
    if (!confirm('Delete every exchange, device and failure record from the log?')) return;
    await api('exchanges', 'DELETE');
    older = [];
    rows.clear();
    location.hash = '#/exchanges';
    await refresh();
  }

  function mark() {
    for (const row of body.children) {
      row.classList.toggle('open', row.dataset.id === shown);
    }
  }

  async function open() {
    element.classList.toggle('has-detail', shown !== '');
    pane.hidden = shown === '';
    mark();
    if (shown === '') return pane.replaceChildren();
    const asked = shown;
    let content;
    try {
      const exchange = await api(`exchanges/${encodeURIComponent(asked)}${revealed ? '?reveal=1' : ''}`);
      content = detail(exchange, (yes) => { revealed = yes; open(); }, close);
    } catch (error) {
      content = problemState(error);
    }
    if (asked === shown) pane.replaceChildren(content);
  }

  function close() {
    if (shown === '') return;
    const row = rows.get(Number(shown));
    location.hash = '#/exchanges';
    row?.querySelector('a').focus();
  }

  return {element, refresh, close, show: async (place) => {
    if (shown !== place.id) revealed = false;
    shown = place.id;
    await Promise.all([refresh(), open()]);
    pane.scrollTop = 0;
  }};
}
