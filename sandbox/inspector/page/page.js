// The frame of the page: which view is shown, and the stream that keeps it up to date.
import {h, problemState} from './view.js';
import {exchangesView} from './exchanges.js';
import {callsView} from './calls.js';
import {devicesView} from './devices.js';
import {recordsView} from './records.js';
import {faultsView} from './faults.js';

const views = {
  exchanges: {title: 'Exchanges', make: exchangesView},
  calls: {title: 'Calls', make: callsView},
  devices: {title: 'Devices', make: devicesView},
  records: {title: 'Failure records', make: recordsView},
  faults: {title: 'Faults', make: faultsView},
};
const main = document.getElementById('main');
const live = document.getElementById('live');
const banner = document.getElementById('banner');
const faultCount = document.getElementById('fault-count');

// A view is an element with two functions: show(place) for a new place within the view, and
// refresh() for news. Both may fail with the words to show.
let current = null;
let currentName = '';
let refreshTimer = 0;

// "#/devices/abc?from=1" is the view "devices" with the rest as its place.
function readPlace() {
  const [path, query = ''] = location.hash.replace(/^#\/?/, '').split('?');
  const [name, ...rest] = path.split('/').map(decodeURIComponent);
  return {name: views[name] ? name : 'exchanges', id: rest[0] ?? '',
    query: new URLSearchParams(query)};
}

async function attempt(work) {
  try {
    await work();
  } catch (error) {
    main.replaceChildren(problemState(error));
    current = null;
    currentName = '';
  }
}

async function showPlace() {
  let place;
  try {
    place = readPlace();
  } catch {
    location.hash = '#/exchanges';
    return;
  }
  for (const link of document.querySelectorAll('nav a')) {
    const isHere = link.getAttribute('href') === `#/${place.name}`;
    if (isHere) link.setAttribute('aria-current', 'page');
    else link.removeAttribute('aria-current');
  }
  document.title = `${views[place.name].title} · zorfp sandbox`;
  await attempt(async () => {
    if (currentName !== place.name) {
      current = views[place.name].make();
      currentName = place.name;
      main.replaceChildren(current.element);
      main.dataset.view = place.name;
    }
    await current.show(place);
  });
}

// News come in bursts; the view asks once for all of a burst.
function refreshSoon() {
  if (refreshTimer !== 0) return;
  refreshTimer = setTimeout(() => {
    refreshTimer = 0;
    if (current) attempt(() => current.refresh());
    else showPlace();
  }, 120);
}

function showState(state) {
  faultCount.hidden = state.faults.length === 0;
  faultCount.textContent = state.faults.length;
  faultCount.setAttribute('aria-label', `, ${state.faults.length} set`);
  banner.hidden = state.storageProblem === '';
  banner.textContent = `The log cannot be written (${state.storageProblem}). What comes in now is ` +
      'not kept.';
}

function listen() {
  const stream = new EventSource('api/events');
  stream.addEventListener('open', () => setLive('on', 'Live'));
  stream.addEventListener('error', () => setLive('off',
      'Disconnected. If the sandbox was restarted, open the address that it prints.'));
  stream.addEventListener('state', (event) => {
    showState(JSON.parse(event.data));
    refreshSoon();
  });
  stream.addEventListener('exchange', refreshSoon);
  stream.addEventListener('cleared', refreshSoon);
}

function setLive(kind, words) {
  live.className = `live ${kind}`;
  live.replaceChildren(h('span', {}, kind === 'on' ? words : 'Disconnected'));
  live.title = words;
}

document.querySelector('.skip').addEventListener('click', (event) => {
  event.preventDefault();  // The address belongs to the views.
  main.focus();
});
document.addEventListener('keydown', (event) => {
  const isTyping = event.target.closest?.('input, select, textarea');
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  if (event.key === '/' && !isTyping) {
    const search = main.querySelector('input[type=search]');
    if (!search) return;
    event.preventDefault();
    search.focus();
  } else if (event.key === 'Escape' && current?.close) {
    current.close();
  }
});
addEventListener('hashchange', showPlace);
showPlace();
listen();
