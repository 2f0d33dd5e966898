// The routes with their faults, and the times that a fingerprint is given with.
import {api, h, plural, routeWords, spanWords} from './view.js';

// One click each; the form has the rest.
const quickFaults = [['Status 500', 'status:500'], ['Reset', 'reset'], ['Hang', 'hang'],
  ['Expired certificate', 'expired-certificate']];

function faultChip(fault, remove) {
  const words = fault.fault === '' ? 'set by a program' : fault.fault;
  return h('span', {class: 'chip'}, h('code', {}, words), fault.usesLeft === null ? null :
    h('small', {}, `${fault.usesLeft} left`), h('button', {type: 'button',
    'aria-label': `Clear ${words}`, title: 'Clear', onclick: () => remove(fault.id)}, '×'));
}

function routeRow(route, faults, actions) {
  return h('li', {class: faults.length > 0 ? 'broken' : ''},
      h('div', {class: 'what'}, h('b', {}, route), h('span', {class: 'under'}, routeWords[route] ??
          'every route')),
      h('div', {class: 'chips'}, faults.length > 0 ?
        faults.map((fault) => faultChip(fault, actions.remove)) :
        h('span', {class: 'well'}, 'works')),
      h('div', {class: 'quick'}, quickFaults.map(([title, fault]) => h('button', {type: 'button',
        class: 'quiet', 'aria-label': `${title} on ${route}`,
        onclick: () => actions.set(`${route}=${fault}`)}, title))));
}

function faultForm(routes, kinds, set) {
  const route = h('select', {id: 'fault-route'}, [...routes, 'any'].map((name) =>
    h('option', {value: name}, name)));
  const kind = h('select', {id: 'fault-kind', onchange: showArgument}, kinds.map((one) =>
    h('option', {value: one.name}, one.name)));
  const argument = h('input', {id: 'fault-argument', maxlength: 1000});
  const address = h('input', {id: 'fault-address', placeholder: 'every address', size: 14});
  const times = h('input', {id: 'fault-times', type: 'number', min: 1, placeholder: 'always'});
  const meaning = h('p', {class: 'note'});
  const argumentField = field('', argument);
  function field(name, input) {
    return h('label', {for: input.id}, h('span', {}, name), input);
  }
  function showArgument() {
    const chosen = kinds.find((one) => one.name === kind.value);
    argumentField.hidden = chosen.argument === '';
    argumentField.firstChild.textContent = chosen.argument.toLowerCase();
    meaning.textContent = chosen.meaning[0].toUpperCase() + chosen.meaning.slice(1) + '.';
  }
  showArgument();
  return h('form', {class: 'card form', onsubmit: (event) => {
    event.preventDefault();
    const at = address.value.trim() === '' ? '' : `@${address.value.trim()}`;
    const uses = times.value === '' ? '' : `*${times.value}`;
    const value = argumentField.hidden ? '' : `:${argument.value}`;
    set(`${route.value}${at}${uses}=${kind.value}${value}`);
  }}, h('h2', {}, 'Set a fault'), h('div', {class: 'inputs'}, field('route', route),
      field('fault', kind), argumentField, field('times', times), field('address', address),
      h('button', {type: 'submit'}, 'Set fault')), meaning);
}

function settingsForm(save) {
  const inputs = {};
  const hints = {};
  const field = (name, title, words) => {
    hints[name] = h('small', {});
    inputs[name] = h('input', {type: 'number', min: 0, required: true, id: name,
      oninput: () => { hints[name].textContent = spanWords(inputs[name].valueAsNumber || 0); }});
    return h('label', {for: name, title: words}, h('span', {}, title), inputs[name], hints[name]);
  };
  const element = h('form', {class: 'card form', onsubmit: (event) => {
    event.preventDefault();
    save({lifetimeSeconds: inputs.lifetimeSeconds.valueAsNumber,
      expirySeconds: inputs.expirySeconds.valueAsNumber});
  }}, h('h2', {}, 'Fingerprints are given with'), h('div', {class: 'inputs'},
      field('lifetimeSeconds', 'lifetime in seconds', 'How long a client uses it without asking'),
      field('expirySeconds', 'expiry in seconds', 'From the answer to the end of the fingerprint'),
      h('button', {type: 'submit'}, 'Save')));
  return {element, fill: (settings) => {
    for (const [name, value] of Object.entries(settings)) {
      if (!inputs[name] || inputs[name] === document.activeElement) continue;
      inputs[name].value = value;
      hints[name].textContent = spanWords(value);
    }
  }};
}

export function faultsView() {
  const list = h('ul', {class: 'routes card'});
  const summary = h('p', {class: 'lead'});
  const words = h('p', {class: 'said', role: 'status'});
  const clear = h('button', {type: 'button', class: 'quiet', onclick: () =>
    change('faults', 'DELETE', undefined, 'Every fault is cleared.')}, 'Clear all faults');
  const form = h('div', {});
  const settings = settingsForm((values) => change('settings', 'PATCH', values, 'Saved.'));
  const element = h('div', {class: 'column'}, h('div', {class: 'headline'},
      h('h1', {}, 'Faults'), clear), summary, list, words, form, settings.element);
  let offered = null;

  async function change(path, method, body, done) {
    try {
      await api(path, method, body);
      words.className = 'said';
      words.textContent = done;
    } catch (error) {
      words.className = 'said wrong';
      words.textContent = `Nothing was changed: ${error.message}.`;
    }
    await refresh();
  }
  const set = (fault) => change('faults', 'POST', {fault}, `${fault} is set.`);
  const remove = (id) => change(`faults/${id}`, 'DELETE', undefined, 'The fault is cleared.');

  async function refresh() {
    if (!offered) {
      offered = await api('fault-kinds');
      form.replaceChildren(faultForm(offered.routes, offered.kinds, set));
    }
    const state = await api('state');
    const focused = list.contains(document.activeElement) ?
      document.activeElement.getAttribute('aria-label') : null;
    const others = state.faults.some((fault) => fault.route === 'any') ? ['any'] : [];
    list.replaceChildren(...[...offered.routes, ...others].map((route) => routeRow(route,
        state.faults.filter((fault) => fault.route === route), {set, remove})));
    if (focused) list.querySelector(`[aria-label="${CSS.escape(focused)}"]`)?.focus();
    summary.textContent = state.faults.length === 0 ? 'Every route answers as it should.' :
      `${plural(state.faults.length, 'fault')} set. Of several on one route, the one set last ` +
      'comes first.';
    clear.disabled = state.faults.length === 0;
    settings.fill(state.settings);
  }
  return {element, refresh, show: refresh};
}
