// Each call of a client as a timeline: which ways it tried, in which order, and for how long.
import {api, dateAndClock, duration, emptyState, h, moveWithArrows, plural, routeWords,
  timeElement} from './view.js';

const kNarrowestBar = 0.6;  // Percent; a try that ended at once is still to be seen.

function bar(one, start, total) {
  const left = (one.startMs - start) / total * 100;
  const width = Math.max((one.endMs - one.startMs) / total * 100, kNarrowestBar);
  const element = h('span', {class: `try ${one.succeeded ? 'answered' : 'failed'}`});
  element.style.left = `${Math.min(left, 100 - width)}%`;
  element.style.width = `${width}%`;
  return element;
}

function tryRow(one, call, isLast) {
  const start = call.tries[0].startMs;
  const total = Math.max(call.tries.at(-1).endMs - start, 1);
  const spent = duration(one.endMs - one.startMs);
  return h('li', {}, h('a', {href: `#/exchanges/${one.id}`, title: routeWords[one.route]}, one.route),
      h('span', {class: 'track'}, bar(one, start, total)),
      h('span', {class: 'spent'}, isLast && !one.succeeded ? '' : spent),
      h('span', {class: 'result'}, h('i', {class: one.succeeded ? 'yes' : 'no'},
          one.succeeded ? '✓' : '✕'), ' ', h('span', {class: 'mono'}, one.address), ' ',
      one.result));
}

function card(call) {
  const first = call.tries[0];
  const last = call.tries.at(-1);
  const answer = call.tries.filter((one) => one.succeeded &&
      ['name', 'address', 'backup-address'].includes(one.route))[0];
  return h('article', {class: 'card call'}, h('header', {},
      h('h2', {}, call.succeeded ? `Answered by ${routeWords[answer.route]}` : 'No answer'),
      h('p', {class: 'under'}, timeElement(first.startMs, dateAndClock(first.startMs)), ' · ',
          plural(call.tries.length, 'try').replace('trys', 'tries'), ' · ',
          duration(last.endMs - first.startMs))),
  h('ol', {class: 'timeline'}, call.tries.map((one) => tryRow(one, call, one === last))));
}

export function callsView() {
  const list = h('div', {class: 'cards'});
  const element = h('div', {class: 'column'}, h('h1', {}, 'Calls'), h('p', {class: 'lead'},
      'One call asks by name, then over HTTPDNS and by address, then at the backup addresses, ' +
      'until one answers. A bar lasts until the client went on.'), list);
  moveWithArrows(list, 'a');

  async function refresh() {
    const {calls} = await api('calls');
    const focused = list.contains(document.activeElement) ?
      document.activeElement.getAttribute('href') : null;
    list.replaceChildren(...(calls.length > 0 ? calls.map(card) : [emptyState('No calls yet',
        'Run ', h('code', {}, 'zorfp fingerprint'), ' against this sandbox. Set a fault on a route ',
        'to see the client try the next one.')]));
    if (focused) list.querySelector(`a[href="${focused}"]`)?.focus();
  }
  return {element, refresh, show: refresh};
}
