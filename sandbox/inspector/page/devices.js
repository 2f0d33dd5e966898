// Every device, its reports over time, and what changed between two of them.
import {api, dateAndClock, emptyState, h, moveWithArrows, plural, timeElement} from './view.js';

const kReports = 200;

function deviceRow(device, isOpen) {
  return h('li', {class: isOpen ? 'open' : ''}, h('a', {
    href: `#/devices/${encodeURIComponent(device.fingerprint)}`,
    'aria-current': isOpen ? 'true' : null},
  h('span', {class: 'mono name'}, device.fingerprint.slice(0, 16), '…'),
  h('span', {class: 'who'}, device.client || 'unknown client'),
  h('span', {class: 'under'}, plural(device.reports, 'report'), ' · ',
      timeElement(device.lastMs, dateAndClock(device.lastMs)))));
}

function ruleWords(device) {
  if (device.rule === 'whole report') {
    return 'The whole report: the identity did not open, so any change of the report makes ' +
        'another device.';
  }
  if (device.rule === 'sealed identity') {
    return 'The sealed identity: the same seven values always get the same fingerprint.';
  }
  return device.rule ?? 'not told';
}

function side(value, kind) {
  if (value === null) return h('td', {class: 'absent'}, 'absent');
  return h('td', {}, h(kind, {class: 'value'}, value));
}

function changesTable(changes) {
  if (changes.length === 0) return h('p', {class: 'note'}, 'These two reports are the same.');
  return h('table', {class: 'changes'}, h('thead', {}, h('tr', {}, ['Entry', 'Earlier', 'Later']
      .map((name) => h('th', {scope: 'col'}, name)))), h('tbody', {}, changes.map((change) =>
    h('tr', {}, h('th', {scope: 'row'}, change.key, change.part === 'identity' ?
      h('small', {}, 'sealed') : null), side(change.before, 'del'), side(change.after, 'ins')))));
}

function reportPicker(reports, from, to, choose) {
  const pick = (name, report, chosen) => h('input', {type: 'radio', name, value: report.id,
    checked: report.id === chosen, 'aria-label': `${name} report: ${report.id}`,
    onchange: () => choose(name, report.id)});
  return h('table', {class: 'reports'}, h('thead', {}, h('tr', {}, ['Earlier', 'Later', 'Time',
    'Route', 'Client'].map((name) => h('th', {scope: 'col'}, name)))), h('tbody', {},
  reports.map((report) => h('tr', {}, h('td', {}, pick('earlier', report, from)),
      h('td', {}, pick('later', report, to)),
      h('td', {}, timeElement(report.timeMs, dateAndClock(report.timeMs))),
      h('td', {}, h('a', {href: `#/exchanges/${report.id}`}, report.route)),
      h('td', {}, report.client)))));
}

async function deviceDetail(device) {
  const {exchanges} = await api('exchanges?' + new URLSearchParams(
      {fingerprint: device.fingerprint, limit: kReports}));
  const chosen = {earlier: (exchanges[1] ?? exchanges[0])?.id, later: exchanges[0]?.id};
  let revealed = false;
  const changes = h('div', {'aria-live': 'polite'});
  const reveal = h('button', {type: 'button', class: 'quiet', 'aria-pressed': 'false',
    onclick: () => {
      revealed = !revealed;
      reveal.setAttribute('aria-pressed', String(revealed));
      reveal.textContent = revealed ? 'Hide sealed values' : 'Show sealed values';
      compare();
    }}, 'Show sealed values');
  async function compare() {
    const query = new URLSearchParams({from: chosen.earlier, to: chosen.later});
    if (revealed) query.set('reveal', '1');
    try {
      changes.replaceChildren(changesTable((await api(`difference?${query}`)).changes));
    } catch (error) {
      changes.replaceChildren(h('p', {class: 'note', role: 'alert'}, error.message));
    }
  }
  if (exchanges.length > 1) await compare();
  return h('article', {class: 'detail'}, h('header', {}, h('p', {class: 'overline'}, 'Device'),
      h('h2', {class: 'mono'}, device.fingerprint)),
  h('dl', {class: 'fields'}, h('dt', {}, 'Given for'), h('dd', {}, ruleWords(device)),
      h('dt', {}, 'First seen'), h('dd', {}, timeElement(device.firstMs, dateAndClock(device.firstMs))),
      h('dt', {}, 'Last seen'), h('dd', {}, timeElement(device.lastMs, dateAndClock(device.lastMs)))),
  h('section', {}, h('h3', {}, 'Reports', h('small', {}, plural(device.reports, 'report'))),
      reportPicker(exchanges, chosen.earlier, chosen.later, (name, id) => {
        chosen[name] = id;
        compare();
      })),
  exchanges.length > 1 ? h('section', {}, h('h3', {}, 'What changed'), reveal, changes) :
    h('p', {class: 'note'}, 'A second report of this device can be compared with this one.'));
}

export function devicesView() {
  const list = h('ul', {class: 'devices'});
  const note = h('div', {});
  const pane = h('div', {class: 'pane', hidden: true});
  const element = h('div', {class: 'split'}, h('div', {class: 'listing'},
      h('div', {class: 'column'}, h('h1', {}, 'Devices'), h('p', {class: 'lead'},
          'Every fingerprint that was given, with the reports that got it.'), list, note)), pane);
  let shown = '';
  let last = '';  // What the pane shows, so that news elsewhere leave it alone.
  moveWithArrows(list, 'a');

  async function refresh() {
    const {devices} = await api('devices');
    const hadFocus = list.contains(document.activeElement) ?
      document.activeElement.getAttribute('href') : null;
    list.replaceChildren(...devices.map((device) => deviceRow(device, device.fingerprint === shown)));
    if (hadFocus) list.querySelector(`a[href="${hadFocus}"]`)?.focus();
    note.replaceChildren(...(devices.length > 0 ? [] : [emptyState('No device yet',
        'A device shows here when the service has given it a fingerprint.')]));
    const device = devices.find((one) => one.fingerprint === shown);
    element.classList.toggle('has-detail', shown !== '');
    pane.hidden = shown === '';
    const state = JSON.stringify(device ?? shown);
    if (state === last) return;
    last = state;
    pane.replaceChildren(h('button', {type: 'button', class: 'quiet close', onclick: close}, 'Close'),
        device ? await deviceDetail(device) :
          emptyState('No such device', 'Its reports may have been deleted.'));
  }
  function close() {
    if (shown === '') return;
    const href = `#/devices/${encodeURIComponent(shown)}`;
    location.hash = '#/devices';
    list.querySelector(`a[href="${href}"]`)?.focus();
  }
  return {element, refresh, close, show: async (place) => {
    shown = place.id;
    await refresh();
  }};
}
