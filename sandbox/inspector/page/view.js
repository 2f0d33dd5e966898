// What every view needs: elements, times, and the JSON interface.

// Makes an element. Whatever is shown becomes a text node, so that nothing that a client sends can
// be read as markup. Properties that start with "on" are listeners; null children are left out.
export function h(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value === true ? '' : String(value));
  }
  for (const child of children.flat()) {
    if (child === null || child === undefined) continue;
    element.append(child instanceof Node ? child : document.createTextNode(String(child)));
  }
  return element;
}

// Asks the sandbox. A refusal is thrown with the sandbox's own words.
export async function api(path, method = 'GET', body = undefined) {
  let answer;
  try {
    answer = await fetch(`api/${path}`,
        {method, body: body === undefined ? undefined : JSON.stringify(body)});
  } catch {
    throw new Error('The sandbox does not answer. Is it still running?');
  }
  const content = await answer.json().catch(() => ({}));
  if (!answer.ok) throw new Error(content.error ?? `The sandbox answered ${answer.status}.`);
  return content;
}

export function clock(ms) {
  const time = new Date(ms);
  return time.toLocaleTimeString([], {hour12: false}) + '.' +
      String(time.getMilliseconds()).padStart(3, '0');
}

export function dateAndClock(ms) {
  const time = new Date(ms);
  const isToday = time.toDateString() === new Date().toDateString();
  const day = time.toLocaleDateString([], {day: 'numeric', month: 'short', year: 'numeric'});
  return (isToday ? '' : day + ', ') + time.toLocaleTimeString([], {hour12: false});
}

export function timeElement(ms, text = clock(ms)) {
  return h('time', {datetime: new Date(ms).toISOString(), title: new Date(ms).toLocaleString()},
      text);
}

export function duration(ms) {
  if (ms < 1000) return `${ms} ms`;
  return ms < 60000 ? `${(ms / 1000).toFixed(2)} s` : `${(ms / 60000).toFixed(1)} min`;
}

// "1 day", "36 hours": the largest unit that leaves nothing over.
export function spanWords(seconds) {
  for (const [size, unit] of [[86400, 'day'], [3600, 'hour'], [60, 'minute']]) {
    if (seconds >= size && seconds % size === 0) return plural(seconds / size, unit);
  }
  return plural(seconds, 'second');
}

export function plural(count, noun) {
  return `${count.toLocaleString('en')} ${noun}${count === 1 ? '' : 's'}`;
}

export const routeWords = {
  'name': 'the service by its host name',
  'bootstrap': 'HTTPDNS at a built-in address',
  'query': 'HTTPDNS at an address it gave',
  'address': 'the service at an HTTPDNS address',
  'backup-service': 'the list of backup addresses',
  'backup-address': 'the service at a backup address',
  'pingback': 'the upload of failure records',
  'unknown': 'anything else',
};

const outcomeWords = {
  answered: 'Answered', refused: 'Refused', fault: 'Fault', failed: 'Failed', opened: 'Connected',
};

export function outcomeBadge(outcome) {
  return h('span', {class: `badge ${outcome}`}, outcomeWords[outcome] ?? outcome);
}

export function emptyState(title, ...words) {
  return h('div', {class: 'empty'}, h('h2', {}, title), h('p', {}, ...words));
}

export function problemState(error) {
  return h('div', {class: 'empty problem', role: 'alert'}, h('h2', {}, 'This cannot be shown'),
      h('p', {}, error.message));
}

export function copyButton(text) {
  const button = h('button', {type: 'button', class: 'quiet', onclick: async () => {
    try {
      await navigator.clipboard.writeText(text);
      button.textContent = 'Copied';
    } catch {
      button.textContent = 'Not permitted';
    }
    setTimeout(() => { button.textContent = 'Copy'; }, 1500);
  }}, 'Copy');
  return button;
}

// A value of a report: text as it stands, anything else as JSON on several lines.
export function valueElement(entry) {
  if (entry.isText) return h('span', {class: 'value'}, entry.value === '' ? h('i', {}, 'empty text') : entry.value);
  let text = entry.value;
  if (/^[[{]/.test(text)) {
    try {
      text = JSON.stringify(JSON.parse(text), null, 2);
    } catch { /* It was cut, or is nested too deeply: shown as it came. */ }
    return h('pre', {class: 'value'}, text);
  }
  return h('span', {class: 'value literal'}, text);
}

export function fields(pairs) {
  return h('dl', {class: 'fields'}, pairs.filter(([, value]) => value !== null &&
      value !== undefined && value !== '').map(([name, value]) => [h('dt', {}, name),
        h('dd', {}, value)]).flat());
}

// Makes `container` show `rows`, in order, and touches only what changed: focus and scroll stay.
export function sync(container, rows) {
  const wanted = new Set(rows);
  for (const child of [...container.children]) if (!wanted.has(child)) child.remove();
  rows.forEach((row, index) => {
    if (container.children[index] !== row) container.insertBefore(row, container.children[index] ?? null);
  });
}

// Arrow keys, Home and End move the focus between the links of a list.
export function moveWithArrows(container, selector) {
  container.addEventListener('keydown', (event) => {
    const links = [...container.querySelectorAll(selector)];
    const at = links.indexOf(document.activeElement);
    const to = {ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: links.length - 1}[event.key];
    if (to === undefined || at < 0 || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    links[Math.max(0, Math.min(links.length - 1, to))].focus();
  });
}
