// The failure records that clients have uploaded.
import {api, dateAndClock, emptyState, h, timeElement} from './view.js';

function rowOf(record) {
  return h('tr', {}, h('td', {class: 'time'}, h('a', {href: `#/exchanges/${record.exchange}`},
      timeElement(record.timeMs, dateAndClock(record.timeMs)))),
  h('td', {}, record.class), h('td', {class: 'mono'}, record.type),
  h('td', {class: 'words'}, record.description),
  h('td', {}, record.application, ' ', record.applicationVersion),
  h('td', {}, record.library, ' ', record.libraryVersion), h('td', {}, record.system));
}

export function recordsView() {
  const body = h('div', {class: 'scroll', tabindex: '0', role: 'region',
    'aria-label': 'Failure records'});
  const element = h('div', {class: 'column wide'}, h('h1', {}, 'Failure records'),
      h('p', {class: 'lead'}, 'What clients could not do and reported afterwards, at most once a ' +
          'day. The newest first.'), body);
  async function refresh() {
    const {records} = await api('records');
    body.replaceChildren(records.length === 0 ? emptyState('No failure records',
        'A client notes what fails and uploads its records at most once a day.') :
      h('table', {class: 'plain'}, h('thead', {}, h('tr', {}, ['Received', 'Class', 'Type',
        'Description', 'Application', 'Library', 'System'].map((name) =>
        h('th', {scope: 'col'}, name)))), h('tbody', {}, records.map(rowOf))));
  }
  return {element, refresh, show: refresh};
}
