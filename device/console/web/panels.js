// One function per part of the device's state: each draws its panel anew
// from the newest state the console sent, and its buttons ask the device
// to act as the user.

import {act, facts, h, show, time} from './dom.js';

const button = (label, onclick, extra = {}) =>
  h('button', {type: 'button', onclick, ...extra}, label);

/** A labelled control; @p control gets the id. */
function labelled(text, control) {
  return h('div', {class: 'field'}, h('label', {for: control.id}, text), control);
}

function select(id, options, value, onchange, key = id) {
  const control = h('select', {id, dataset: {key}, onchange: (e) => onchange(e.target.value)},
    options.map((o) => h('option', {value: o, selected: o === value}, o)));
  if (!options.includes(value) && value !== undefined)
    control.prepend(h('option', {value, selected: true}, String(value)));
  return control;
}

function checkbox(id, text, checked, onchange) {
  return h('div', {class: 'field check'},
    h('input', {type: 'checkbox', id, dataset: {key: id}, checked: Boolean(checked),
      onchange: (e) => onchange(e.target.checked)}),
    h('label', {for: id}, text));
}

const safeId = (text) => String(text).replace(/[^A-Za-z0-9_-]/g, '_');

/** How an item alerts, from the category the application gave it. */
export function priority(category) {
  switch (category) {
    case 'uib_silent': return 'low (no alerts)';
    case 'uib_only': return 'normal (no preview)';
    case 'preview_only': return 'normal (not in the hub)';
    default: return 'normal';
  }
}

function invocationText(attributes) {
  const parts = [];
  if (attributes.target) parts.push(`target ${attributes.target}`);
  if (attributes.targetAction) parts.push(`action ${attributes.targetAction}`);
  if (attributes.payloadType) parts.push(`type ${attributes.payloadType}`);
  if (attributes.payloadURI) parts.push(`uri ${attributes.payloadURI}`);
  if (attributes.payload) parts.push(`data ${attributes.payload.length} base64 characters`);
  return parts.join(', ');
}

export function inbox(container, data) {
  const {items = [], total = 0} = data.inbox || {};
  if (!items.length) return show(container, h('p', {class: 'muted'}, 'The inbox is empty.'));
  const byApplication = new Map();
  for (const item of items.slice().reverse()) {
    const list = byApplication.get(item.application) || [];
    list.push(item);
    byApplication.set(item.application, list);
  }
  const groups = [];
  for (const [application, list] of byApplication) {
    groups.push(h('section', {class: 'group', 'aria-label': `Notifications of ${application}`},
      h('h3', {}, application || '(unknown application)', ' ',
        h('span', {class: 'count'}, `${list.length}`)),
      h('div', {class: 'row-actions'},
        button('Clear effects of all', () => act('notifications', 'clearEffects', {application},
          `Effects of ${application}'s items cleared`), {dataset: {key: `clear-all-${application}`}}),
        button('Delete all', () => act('notifications', 'remove', {application},
          `${application}'s items deleted`), {dataset: {key: `delete-all-${application}`}})),
      h('ul', {class: 'items'}, list.map((item) => notification(item)))));
  }
  const note = total > items.length
    ? h('p', {class: 'muted'}, `The newest ${items.length} of ${total} items.`) : null;
  show(container, note, groups);
}

function notification(item) {
  const a = item.attributes || {};
  const key = `${item.application}/${item.itemId}`;
  const invocation = invocationText(a);
  const when = /^\d+$/.test(a.timestamp || '') ? time(a.timestamp) : (a.timestamp || time(item.received));
  return h('li', {class: item.effectsCleared ? 'item seen' : 'item', dataset: {item: item.itemId}},
    h('div', {class: 'item-head'},
      h('strong', {class: 'title'}, a.title || '(no title)'),
      h('span', {class: 'muted'}, item.effectsCleared ? ' seen' : ' new')),
    a.subtitle ? h('p', {class: 'body'}, a.subtitle) : null,
    facts([['Priority', priority(a.type)], ['Category', a.type && !['uib_silent', 'uib_only', 'preview_only'].includes(a.type) ? a.type : ''],
      ['Time', when], ['Invocation', invocation], ['Id', item.itemId]]),
    h('div', {class: 'row-actions'},
      button('Open', () => act('notifications', 'open', {application: item.application, itemId: item.itemId},
        invocation ? `Opened "${a.title || item.itemId}"` : `"${a.title || item.itemId}" has nothing to open; marked seen`),
        {dataset: {key: `open-${key}`}, 'aria-label': `Open ${a.title || item.itemId}`}),
      button('Clear effects', () => act('notifications', 'clearEffects', {application: item.application, itemId: item.itemId}),
        {dataset: {key: `clear-${key}`}, disabled: Boolean(item.effectsCleared), 'aria-label': `Clear effects of ${a.title || item.itemId}`}),
      button('Delete', () => act('notifications', 'remove', {application: item.application, itemId: item.itemId}),
        {dataset: {key: `delete-${key}`}, 'aria-label': `Delete ${a.title || item.itemId}`})));
}

export function dialogs(container, data) {
  const list = (data.dialogs || {}).dialogs || [];
  if (!list.length) return show(container, h('p', {class: 'muted'}, 'No dialog is waiting.'));
  show(container, h('ul', {class: 'items'}, list.map((dialog) => {
    const c = dialog.content || {};
    const buttons = c.promptChoices || [];
    return h('li', {class: 'item dialog', role: 'group', 'aria-label': `Dialog ${c.title || dialog.itemId}`,
      dataset: {dialog: dialog.itemId}},
      h('div', {class: 'item-head'}, h('strong', {class: 'title'}, c.title || '(no title)'),
        h('span', {class: 'muted'}, ` from ${dialog.application}`)),
      c.subtitle ? h('p', {class: 'body'}, c.subtitle) : null,
      facts([['Shown', time(dialog.shown)], ['Repeats', c.repeating === 'on' ? 'until answered' : ''],
        ['Id', dialog.itemId]]),
      h('div', {class: 'row-actions'}, buttons.map((b) =>
        button(b.label || b.context, () => act('notifications', 'choose', {dialog: dialog.itemId, button: b.context},
          `Chose "${b.label || b.context}"`), {class: 'choice', dataset: {key: `choose-${dialog.itemId}-${b.context}`,
          context: b.context}}))));
  })));
}

const lockStates = ['notLocked', 'screenLocked', 'passwordLocked', 'pinBlocked'];

export function home(container, data) {
  const s = data.home || {};
  const locked = s.lockState && s.lockState !== 'notLocked';
  const shortcuts = s.shortcuts || [];
  const badges = Object.entries(s.badges || {});
  const prompts = s.closePrompts || [];
  show(container,
    h('div', {class: 'controls'},
      h('button', {type: 'button', id: 'lock-toggle', class: 'toggle', 'aria-pressed': locked ? 'true' : 'false',
        dataset: {key: 'lock-toggle'},
        onclick: () => act('navigator', 'setLockState', {state: locked ? 'notLocked' : 'screenLocked'},
          locked ? 'Device unlocked' : 'Device locked')}, locked ? 'Locked: unlock' : 'Unlocked: lock'),
      labelled('Lock state', select('lock-state', lockStates, s.lockState,
        (state) => act('navigator', 'setLockState', {state}, `Lock state ${state}`))),
      checkbox('bedside', 'Bedside mode', s.bedsideMode,
        (on) => act('navigator', 'setBedsideMode', {on})),
      checkbox('wallpaper-lock', 'Wallpaper locked', s.wallpaperLocked,
        (on) => act('navigator', 'setWallpaperLock', {on}))),
    facts([['Wallpaper', s.wallpaper || "the device's own"]]),
    h('h3', {}, 'Shortcuts'),
    shortcuts.length ? h('ul', {class: 'plain'}, shortcuts.map((sc) =>
      h('li', {}, h('strong', {}, sc.label), ` ${sc.url}`, sc.category ? ` (${sc.category})` : '',
        h('br'), h('span', {class: 'muted'}, `icon ${sc.icon}`))))
      : h('p', {class: 'muted'}, 'None.'),
    badges.length ? [h('h3', {}, 'Badges'), h('ul', {class: 'plain'},
      badges.map(([app, badge]) => h('li', {}, `${app}: ${badge}`)))] : null,
    prompts.length ? [h('h3', {}, 'Close prompts'), h('ul', {class: 'plain'},
      prompts.map((p) => h('li', {}, `${p.app}: "${p.title}" ${p.message}`)))] : null);
}

const dataLockStates = {0: 'locked since start-up', 1: 'unlocked', 2: 'unlocking', 3: 'locked',
  4: 'no policy', 5: 'lock pending', 6: 'unlocking after start-up'};

export function datalock(container, data) {
  const s = data.status || {};
  const seconds = h('input', {type: 'number', id: 'datalock-seconds', min: 0, value: 60,
    dataset: {key: 'datalock-seconds'}});
  const due = s.time && /^\d+$/.test(String(s.time)) ? time(Number(s.time) * 1000) : s.time;
  show(container,
    facts([['State', `${dataLockStates[s.state] || 'unknown'} (${s.state})`], ['Locks at', due]]),
    h('div', {class: 'controls'},
      button('Lock now', () => act('perimeter', 'lock', {}, 'Data locked'), {dataset: {key: 'datalock-lock'}}),
      button('Unlock', () => act('perimeter', 'unlock', {}, 'Data unlocked'), {dataset: {key: 'datalock-unlock'}}),
      labelled('Seconds', seconds),
      button('Lock after', () => act('perimeter', 'pending', {seconds: Number(seconds.value)}),
        {dataset: {key: 'datalock-pending'}}),
      button('Extend', () => act('perimeter', 'extend', {seconds: Number(seconds.value)}),
        {dataset: {key: 'datalock-extend'}, disabled: s.state !== 5})));
}

const onOff = ['on', 'off'];
const globalChoices = {sound: onOff, vibrate: onOff, led: onOff, preview: onOff,
  mode: ['normal', 'silent', 'vibrate', 'phoneonly', 'alertsoff']};
const applicationChoices = {alerts: onOff, sound: onOff, vibrate: onOff, led: onOff,
  preview: ['on', 'off', 'disabled', 'priority']};

function settingControl(prefix, key, value, choices, change) {
  const id = safeId(`${prefix}-${key}`);
  if (choices[key]) return labelled(key, select(id, choices[key], value, change));
  const input = h('input', {id, dataset: {key: id}, value: value ?? '',
    type: typeof value === 'number' ? 'number' : 'text'});
  return h('div', {class: 'field'}, h('label', {for: id}, key), input,
    button('Set', () => change(input.type === 'number' ? Number(input.value) : input.value),
      {'aria-label': `Set ${key}`, dataset: {key: `${id}-set`}}));
}

export function settings(container, data) {
  const list = data.list || {};
  const global = list.global || {};
  const applications = Object.entries(list.applications || {});
  show(container,
    h('h3', {}, 'Global'),
    h('div', {class: 'controls'}, Object.entries(global).map(([key, value]) =>
      settingControl('global', key, value, globalChoices,
        (v) => act('settings', 'setGlobal', {key, value: v}, `Global ${key}: ${v}`)))),
    applications.map(([name, entry]) => h('details', {},
      h('summary', {}, name),
      h('div', {class: 'controls'}, Object.entries(entry.settings || {}).map(([key, value]) =>
        h('div', {}, settingControl(`app-${name}`, key, value, applicationChoices,
          (v) => act('settings', 'setApplication', {name, key, value: v}, `${name} ${key}: ${v}`)),
          h('span', {class: 'muted'}, ` (${(entry.sources || {})[key] || 'factory'})`)))))),
    applications.length ? null : h('p', {class: 'muted'}, 'No application has settings yet.'));
}

export function invocations(container, data) {
  const {invocations: list = [], total = 0} = data.invocations || {};
  const maps = data.maps || {};
  show(container,
    h('div', {class: 'controls'},
      button('Clear the record', () => act('invoke', 'clear', {}, 'Invocations cleared'),
        {dataset: {key: 'invocations-clear'}, disabled: !list.length})),
    list.length ? h('ol', {class: 'items', reversed: true}, list.slice().reverse().map((i) =>
      h('li', {class: 'item'}, facts([['Time', time(i.time)], ['Sender', i.sender], ['Action', i.action],
        ['Type', i.mimeType], ['URI', i.uri], ['Target', i.target || i.requestedTarget],
        ['Data', i.data ? `${i.data}${i.dataSize > i.data.length ? ` (${i.dataSize} bytes in all)` : ''}` : ''],
        ['Error', i.errorText || (i.error ? `error ${i.error}` : '')]]))))
      : h('p', {class: 'muted'}, 'No invocation yet.'),
    total > list.length ? h('p', {class: 'muted'}, `The newest ${list.length} of ${total}.`) : null,
    h('h3', {}, 'Maps application'),
    Object.keys(maps).length ? h('pre', {class: 'content'}, JSON.stringify(maps, null, 2))
      : h('p', {class: 'muted'}, 'It shows nothing yet.'));
}

export function identity(container, data) {
  const state = data.state || {};
  const account = Object.entries(state.account || {});
  const challenges = (data.challenges || {}).challenges || [];
  const tokens = (data.tokens || {}).tokens || [];
  const owners = (data.allData || {}).owners || [];
  const keyInput = h('input', {id: 'account-key', dataset: {key: 'account-key'}, placeholder: 'urn:omid:firstname'});
  const valueInput = h('input', {id: 'account-value', dataset: {key: 'account-value'}});
  show(container,
    h('div', {class: 'columns'},
      h('div', {},
        h('h3', {}, 'Account'),
        facts(account.map(([k, v]) => [k.replace(/^urn:omid:/, ''), v])),
        h('div', {class: 'controls'}, labelled('Property', keyInput), labelled('Value', valueInput),
          button('Change', () => act('identity', 'setAccount', {account: {[keyInput.value]: valueInput.value}},
            'Account changed'), {dataset: {key: 'account-set'}})),
        h('div', {class: 'controls'},
          checkbox('identity-offline', 'Offline', state.offline, (offline) => act('identity', 'setOffline', {offline})),
          labelled('Challenges', select('identity-policy', ['ask', 'approve', 'refuse'], state.policy,
            (policy) => act('identity', 'setChallengePolicy', {policy}))))),
      h('div', {},
        h('h3', {}, 'Pending challenges'),
        challenges.length ? h('ul', {class: 'items'}, challenges.map((c) => h('li', {class: 'item'},
          facts([['Application', c.package], ['Kind', c.type === 1 ? 'e-mail confirmation' : 'authentication'],
            ['Since', time(c.since)]]),
          h('div', {class: 'row-actions'},
            button('Approve', () => act('identity', 'answerChallenge', {id: c.id, approve: true}),
              {dataset: {key: `challenge-approve-${c.id}`}}),
            button('Refuse', () => act('identity', 'answerChallenge', {id: c.id, approve: false}),
              {dataset: {key: `challenge-refuse-${c.id}`}})))))
          : h('p', {class: 'muted'}, 'None.'),
        h('h3', {}, 'Tokens'),
        tokens.length ? h('ul', {class: 'plain'}, tokens.map((t) => h('li', {},
          `${t.package}: ${t.tokenType} for ${t.appliesTo} `,
          button('Revoke', () => act('identity', 'revoke', {package: t.package, tokenType: t.tokenType,
            appliesTo: t.appliesTo}), {dataset: {key: `revoke-${t.package}-${t.tokenType}-${t.appliesTo}`}}))))
          : h('p', {class: 'muted'}, 'None.'))),
    h('h3', {}, 'Stored data'),
    owners.length ? h('ul', {class: 'plain'}, owners.map((o) => h('li', {}, h('strong', {}, o.owner),
      h('ul', {class: 'plain'}, (o.entries || []).map((e) => h('li', {},
        `${e.name}: ${e.size} bytes${e.cached ? ', cached' : ''}${e.encrypted ? ', encrypted' : ''}`))))))
      : h('p', {class: 'muted'}, 'No application has stored data.'));
}

const storeModes = ['approve', 'hold', 'decline', 'fail', 'busy', 'offline'];

export function payments(container, data) {
  const pending = (data.pending || {}).pending || [];
  const {purchases = [], total = 0} = data.purchases || {};
  const mode = data.mode || {};
  const clock = data.clock || {};
  const goods = (data.goods || {}).goods || [];
  const days = h('input', {type: 'number', id: 'store-days', min: 1, value: 30,
    dataset: {key: 'store-days'}});
  show(container,
    h('div', {class: 'controls'},
      labelled('Purchases', select('store-mode', storeModes, mode.mode,
        (m) => act('payments', 'mode', {mode: m}, `Store mode ${m}`))),
      checkbox('store-invoke', "Show the store's screen", mode.invoke,
        (invoke) => act('payments', 'mode', {invoke}))),
    h('h3', {}, 'Waiting for the user'),
    pending.length ? h('ul', {class: 'items'}, pending.map((p) => h('li', {class: 'item', role: 'group',
      'aria-label': `Purchase ${p.pending}`, dataset: {pending: p.pending}},
      facts([['Application', p.purchaseAppName ? `${p.purchaseAppName} (${p.package})` : p.package],
        ['Good', p.name ? `${p.name} (${p.id})` : p.id], ['Price', p.price], ['Store', p.store]]),
      h('div', {class: 'row-actions'},
        button('Approve', () => act('payments', 'approve', {pending: p.pending}, `Purchase ${p.pending} approved`),
          {dataset: {key: `purchase-approve-${p.pending}`}, 'aria-label': `Approve purchase of ${p.name || p.id}`}),
        button('Decline', () => act('payments', 'decline', {pending: p.pending}, `Purchase ${p.pending} declined`),
          {dataset: {key: `purchase-decline-${p.pending}`}, 'aria-label': `Decline purchase of ${p.name || p.id}`})))))
      : h('p', {class: 'muted'}, mode.mode === 'hold' ? 'None.' : 'None: purchases wait only in the "hold" mode.'),
    h('h3', {}, 'Clock'),
    facts([['Now', clock.now ? time(clock.now) : ''], ['Ahead by', `${clock.offsetDays || 0} days`]]),
    h('div', {class: 'controls'}, labelled('Days', days),
      button('Move ahead', () => act('payments', 'clock', {days: Number(days.value)},
        `Clock moved ${days.value} days ahead`), {dataset: {key: 'store-clock'}})),
    h('h3', {}, 'Purchases'),
    purchases.length ? h('ul', {class: 'items'}, purchases.slice().reverse().map((p) => h('li', {class: 'item'},
      facts([['Application', p.package], ['Good', p.name || p.goodId], ['Store', p.store], ['Date', p.date],
        ['State', p.refunded ? 'refunded' : (p.active ? 'active' : p.state)],
        ['Ends', p.subscription ? p.endDate : ''], ['Id', p.purchaseId]]),
      p.refunded ? null : h('div', {class: 'row-actions'},
        button('Refund', () => act('payments', 'refund', {purchaseId: p.purchaseId}, `Purchase ${p.purchaseId} refunded`),
          {dataset: {key: `refund-${p.purchaseId}`}, 'aria-label': `Refund purchase ${p.purchaseId}`})))))
      : h('p', {class: 'muted'}, 'No purchase yet.'),
    total > purchases.length ? h('p', {class: 'muted'}, `The newest ${purchases.length} of ${total}.`) : null,
    h('details', {}, h('summary', {}, `Catalogue (${goods.length} goods)`),
      h('ul', {class: 'plain'}, goods.map((g) => h('li', {},
        h('strong', {}, g.name), ` ${g.id} (${g.sku}), ${g.kind}, ${g.price}`,
        g.kind === 'subscription' ? `, renews every ${g.renewalPeriodDays} days at ${g.renewalPrice}` : '')))));
}
