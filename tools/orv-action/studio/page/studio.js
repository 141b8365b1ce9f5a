// The studio's page: a template editor whose text is rendered with an
// event's template data as you type, through the JSON API of the program
// that serves it. Plain script, no libraries: it runs without any network.
'use strict';

(() => {
  // Every API call carries the token of the address the program printed.
  const token = new URLSearchParams(window.location.search).get('token') || '';
  // Milliseconds of quiet after a keystroke before the template is rendered.
  const kRenderDelay = 15;
  const kMainTab = '';
  const kPastedEvent = '__pasted__';

  const $ = (id) => document.getElementById(id);
  const input = $('template-input');
  const highlight = $('highlight');
  const gutter = $('gutter');
  const output = $('output');

  const state = {
    texts: new Map([[kMainTab, '']]),  // the main template under kMainTab, then the partials by name
    active: kMainTab,
    event: null,                       // {id} or {json} as the API takes it
    syntaxError: null,                 // the last render's error, or null
    missing: [],                       // the last render's missing names
    renderTimer: 0,
    renderSequence: 0,
    renderAbort: null,
    types: [],
  };

  // --- The API -------------------------------------------------------------

  class ApiError extends Error {
    constructor(status, body) {
      super(body && body.error ? body.error.message : `HTTP ${status}`);
      this.status = status;
      this.body = body;
    }
  }

  async function call(method, path, body, signal) {
    const options = { method, headers: { 'X-Studio-Token': token }, signal };
    if (body !== undefined) {
      options.headers['Content-Type'] = 'application/json';
      options.body = JSON.stringify(body);
    }
    const response = await fetch(path, options);
    let answer = null;
    try {
      answer = await response.json();
    } catch (ignored) {
      answer = null;
    }
    if (!response.ok) {
      throw new ApiError(response.status, answer);
    }
    return answer;
  }

  function showConnectionProblem(message) {
    const notice = $('connection');
    notice.textContent = message;
    notice.hidden = false;
  }

  // --- Positions -----------------------------------------------------------

  // The offset in `text` of a line and column counted as the template library
  // counts them: from 1, a column counting characters (code points).
  function offsetOf(text, line, column) {
    let offset = 0;
    for (let at = 1; at < line; ++at) {
      const end = text.indexOf('\n', offset);
      if (end < 0) {
        return text.length;
      }
      offset = end + 1;
    }
    for (let at = 1; at < column && offset < text.length && text[offset] !== '\n'; ++at) {
      offset += text.codePointAt(offset) > 0xffff ? 2 : 1;
    }
    return offset;
  }

  // --- Highlighting --------------------------------------------------------

  // Splits a mustache template into text and tags, following delimiter
  // changes, as [{start, end, kind}]. Kinds: text, variable, unescaped,
  // section, inverted, close, partial, comment, delimiters, unclosed.
  function tokenize(text) {
    const tokens = [];
    let open = '{{';
    let close = '}}';
    let at = 0;
    while (at < text.length) {
      const start = text.indexOf(open, at);
      if (start < 0) {
        tokens.push({ start: at, end: text.length, kind: 'text' });
        break;
      }
      if (start > at) {
        tokens.push({ start: at, end: start, kind: 'text' });
      }
      const inner = start + open.length;
      const sigil = text[inner];
      const kinds = { '#': 'section', '^': 'inverted', '/': 'close', '>': 'partial', '!': 'comment',
                      '&': 'unescaped', '{': 'unescaped', '=': 'delimiters' };
      const kind = kinds[sigil] || 'variable';
      const closer = sigil === '{' ? '}' + close : sigil === '=' ? '=' + close : close;
      const end = text.indexOf(closer, inner);
      if (end < 0) {
        tokens.push({ start, end: text.length, kind: 'unclosed' });
        break;
      }
      tokens.push({ start, end: end + closer.length, kind });
      if (kind === 'delimiters') {
        const parts = text.slice(inner + 1, end).trim().split(/\s+/);
        if (parts.length === 2 && parts[0] && parts[1]) {
          [open, close] = parts;
        }
      }
      at = end + closer.length;
    }
    return tokens;
  }

  // The marks of the last render that fall into the text on display:
  // [{offset, kind: 'error'|'missing', title}].
  function currentMarks(text) {
    const marks = [];
    const error = state.syntaxError;
    if (error && error.partial === state.active) {
      marks.push({ offset: offsetOf(text, error.line, error.column), kind: 'error', title: error.message });
    }
    for (const missing of state.missing) {
      if (missing.partial === state.active) {
        marks.push({ offset: offsetOf(text, missing.line, missing.column), kind: 'missing',
                     title: missingText(missing) });
      }
    }
    return marks;
  }

  function span(className, text, title) {
    const element = document.createElement('span');
    element.className = className;
    element.textContent = text;
    if (title) {
      element.title = title;
    }
    return element;
  }

  // Redraws the highlighted copy of the editor's text, with the marks of the
  // last render, and the line numbers.
  function redraw() {
    const text = input.value;
    const marks = currentMarks(text);
    const fragment = document.createDocumentFragment();
    const errorMark = marks.find((mark) => mark.kind === 'error');
    for (const token of tokenize(text)) {
      const missing = marks.find((mark) => mark.kind === 'missing' && mark.offset === token.start);
      const hasError = errorMark && errorMark.offset >= token.start && errorMark.offset < token.end;
      if (hasError && token.kind === 'text') {
        // An error inside text marks the one character it names.
        const offset = errorMark.offset;
        const after = offset + (text.codePointAt(offset) > 0xffff ? 2 : 1);
        fragment.append(span('t-text', text.slice(token.start, offset)));
        fragment.append(span('t-text error-mark', text.slice(offset, after), errorMark.title));
        fragment.append(span('t-text', text.slice(after, token.end)));
        continue;
      }
      let className = `t-${token.kind}`;
      let title = '';
      if (hasError) {
        className += ' error-mark';
        title = errorMark.title;
      } else if (missing) {
        className += ' missing-mark';
        title = missing.title;
      }
      fragment.append(span(className, text.slice(token.start, token.end), title));
    }
    if (errorMark && errorMark.offset >= text.length) {
      // An error at the end of the text: mark the place itself.
      fragment.append(span('error-mark error-end', ' ', errorMark.title));
    }
    // A final line end needs a line after it, as the text area shows one.
    fragment.append('\n');
    highlight.replaceChildren(fragment);

    const lines = text.split('\n').length;
    const errorLine = errorMark ? state.syntaxError.line : 0;
    const numbers = document.createDocumentFragment();
    for (let line = 1; line <= lines; ++line) {
      numbers.append(span(line === errorLine ? 'line-number error-line' : 'line-number', `${line}\n`));
    }
    gutter.replaceChildren(numbers);
    syncScroll();
  }

  function syncScroll() {
    highlight.scrollTop = input.scrollTop;
    highlight.scrollLeft = input.scrollLeft;
    gutter.scrollTop = input.scrollTop;
  }

  // --- Tabs: the main template and the partials -----------------------------

  function tabLabel(name) {
    return name === kMainTab ? 'Main template' : `Partial ${name}`;
  }

  function drawTabs() {
    const list = $('tab-list');
    const buttons = [];
    for (const name of state.texts.keys()) {
      const button = document.createElement('button');
      button.type = 'button';
      button.className = 'tab';
      button.textContent = tabLabel(name);
      button.setAttribute('aria-pressed', String(name === state.active));
      button.dataset.partial = name;
      button.addEventListener('click', () => switchTo(name));
      buttons.push(button);
    }
    list.replaceChildren(...buttons);
    $('remove-partial').hidden = state.active === kMainTab;
    input.setAttribute('aria-label', tabLabel(state.active));
  }

  function switchTo(name) {
    state.texts.set(state.active, input.value);
    state.active = name;
    input.value = state.texts.get(name);
    drawTabs();
    redraw();
  }

  function addPartial() {
    const field = $('partial-name');
    const name = field.value.trim();
    const problem = $('partial-error');
    problem.hidden = true;
    if (!name || /[\s{}]/.test(name)) {
      problem.textContent = 'A partial needs a name without spaces or braces.';
      problem.hidden = false;
      return;
    }
    if (state.texts.has(name)) {
      problem.textContent = `There is a partial ${name} already.`;
      problem.hidden = false;
      return;
    }
    state.texts.set(name, '');
    field.value = '';
    switchTo(name);
    input.focus();
    scheduleRender();
  }

  function removePartial() {
    const name = state.active;
    if (name === kMainTab) {
      return;
    }
    state.texts.set(name, input.value);
    switchTo(kMainTab);
    state.texts.delete(name);
    drawTabs();
    scheduleRender();
  }

  // --- Rendering -----------------------------------------------------------

  function missingText(missing) {
    return missing.isPartial ? `no partial ${missing.name} is given; the tag renders as nothing`
                             : `the event's data has no ${missing.name}`;
  }

  function scheduleRender() {
    clearTimeout(state.renderTimer);
    state.renderTimer = setTimeout(render, kRenderDelay);
  }

  function renderRequest() {
    state.texts.set(state.active, input.value);
    const partials = {};
    for (const [name, text] of state.texts) {
      if (name !== kMainTab) {
        partials[name] = text;
      }
    }
    return { event: state.event, template: state.texts.get(kMainTab), escape: $('escape-choice').value, partials };
  }

  async function render() {
    if (!state.event) {
      return;
    }
    // Only the answer to the latest text counts; an older call is abandoned.
    const sequence = ++state.renderSequence;
    if (state.renderAbort) {
      state.renderAbort.abort();
    }
    const abort = new AbortController();
    state.renderAbort = abort;
    const started = performance.now();
    let answer = null;
    let failure = null;
    try {
      answer = await call('POST', '/api/render', renderRequest(), abort.signal);
    } catch (error) {
      if (error.name === 'AbortError') {
        return;
      }
      failure = error;
    }
    if (sequence !== state.renderSequence) {
      return;
    }
    state.renderAbort = null;
    showRendering(answer, failure, performance.now() - started);
  }

  function showRendering(answer, failure, milliseconds) {
    const status = $('render-status');
    const syntax = $('syntax-error');
    state.syntaxError = null;
    syntax.hidden = true;
    input.removeAttribute('aria-invalid');
    if (answer) {
      output.textContent = answer.text;
      output.classList.remove('stale');
      state.missing = answer.missing;
      status.textContent = `Rendered in ${Math.round(milliseconds)} ms.`;
    } else {
      const error = failure.body && failure.body.error;
      output.classList.add('stale');
      state.missing = (failure.body && failure.body.missing) || [];
      if (error && error.kind === 'template') {
        state.syntaxError = error;
        input.setAttribute('aria-invalid', 'true');
        syntax.replaceChildren(placeButton(error, `${placeText(error)}: ${error.message}`));
        syntax.hidden = false;
        status.textContent = 'The template does not compile; the output is the last good one.';
      } else if (error && error.kind === 'event') {
        status.textContent = `The event cannot be used: ${error.message}`;
      } else {
        status.textContent = `Not rendered: ${failure.message}`;
      }
    }
    drawMissing();
    redraw();
  }

  function placeText(place) {
    const where = place.partial ? `Partial ${place.partial}, line` : 'Line';
    return `${where} ${place.line}, column ${place.column}`;
  }

  // A button that takes the editor to a place of the template or a partial.
  function placeButton(place, text) {
    const button = document.createElement('button');
    button.type = 'button';
    button.className = 'place';
    button.textContent = text;
    button.addEventListener('click', () => goTo(place));
    return button;
  }

  function goTo(place) {
    if (!state.texts.has(place.partial)) {
      return;
    }
    if (place.partial !== state.active) {
      switchTo(place.partial);
    }
    const offset = offsetOf(input.value, place.line, place.column);
    input.focus();
    input.setSelectionRange(offset, offset);
  }

  function drawMissing() {
    const items = state.missing.map((missing) => {
      const item = document.createElement('li');
      item.append(placeButton(missing, `${placeText(missing)}: ${missingText(missing)}`));
      return item;
    });
    $('missing-list').replaceChildren(...items);
    $('missing-box').hidden = items.length === 0;
  }

  // --- The template data tree ----------------------------------------------

  function isContainer(value) {
    return value !== null && typeof value === 'object';
  }

  // The tag that inserts `path`: a value's tag, or a section over a map or list.
  function tagsFor(path, value) {
    return isContainer(value) ? { before: `{{#${path}}}`, after: `{{/${path}}}` } : { before: `{{${path}}}`, after: '' };
  }

  function valueText(value) {
    if (Array.isArray(value)) {
      return `list of ${value.length}`;
    }
    if (isContainer(value)) {
      return `map of ${Object.keys(value).length}`;
    }
    return JSON.stringify(value);
  }

  // One node: a toggle for a map or list, the name that inserts its path, and
  // its value. Children are made when the node is first opened.
  function treeNode(label, path, value, open) {
    const item = document.createElement('li');
    item.className = 'node';
    const container = isContainer(value);
    let children = null;
    if (container) {
      const toggle = document.createElement('button');
      toggle.type = 'button';
      toggle.className = 'toggle';
      toggle.setAttribute('aria-label', `${label}: show its contents`);
      toggle.setAttribute('aria-expanded', 'false');
      toggle.textContent = '▸';
      const setOpen = (opened) => {
        if (opened && !children) {
          children = document.createElement('ul');
          children.className = 'tree';
          children.append(...treeChildren(path, value));
          item.append(children);
        }
        if (children) {
          children.hidden = !opened;
        }
        toggle.setAttribute('aria-expanded', String(opened));
        toggle.textContent = opened ? '▾' : '▸';
      };
      toggle.addEventListener('click', () => setOpen(toggle.getAttribute('aria-expanded') !== 'true'));
      item.append(toggle);
      if (open) {
        setOpen(true);
        item.insertBefore(toggle, item.firstChild);
      }
    } else {
      item.append(span('toggle-space', ''));
    }
    if (path !== null) {
      const tags = tagsFor(path, value);
      const name = document.createElement('button');
      name.type = 'button';
      name.className = 'insert';
      name.textContent = label;
      name.dataset.path = path;
      name.title = `Insert ${tags.before}${tags.after}`;
      name.setAttribute('aria-label', `${label}: insert ${tags.before}${tags.after}`);
      name.addEventListener('click', () => insertAtCursor(tags.before, tags.after));
      item.insertBefore(name, children);
    } else {
      item.insertBefore(span('element', label), children);
    }
    item.insertBefore(span('value', ` ${valueText(value)}`), children);
    return item;
  }

  function treeChildren(path, value) {
    if (Array.isArray(value)) {
      // Names below a list are written relative to its elements, as a tag
      // inside the list's section names them.
      return value.map((element, index) => treeNode(`element ${index + 1} of ${value.length}`, null, element, false));
    }
    return Object.keys(value).map((key) => treeNode(key, path ? `${path}.${key}` : key, value[key], false));
  }

  function drawTree(data) {
    const top = Object.keys(data).map((key) => treeNode(key, key, data[key], true));
    $('data-tree').replaceChildren(...top);
  }

  // Inserts `before` and `after` around the editor's selection, keeping the
  // editor's undo history, and leaves the cursor between them.
  function insertAtCursor(before, after) {
    const start = input.selectionStart;
    const end = input.selectionEnd;
    input.focus();
    input.setSelectionRange(start, end);
    const selected = input.value.slice(start, end);
    const text = before + selected + after;
    if (!document.execCommand('insertText', false, text)) {
      input.setRangeText(text, start, end, 'end');
      input.dispatchEvent(new Event('input'));
    }
    const caret = start + before.length + selected.length;
    input.setSelectionRange(caret, caret);
  }

  // --- Events --------------------------------------------------------------

  async function chooseEvent(event) {
    const problem = $('event-error');
    problem.hidden = true;
    try {
      const answer = await call('POST', '/api/data', { event });
      state.event = event;
      drawTree(answer.data);
      scheduleRender();
      return true;
    } catch (error) {
      problem.textContent = error.message;
      problem.hidden = false;
      return false;
    }
  }

  function onEventChoice() {
    const choice = $('event-choice').value;
    const pasting = choice === kPastedEvent;
    $('paste-box').hidden = !pasting;
    if (pasting) {
      $('pasted-event').focus();
    } else {
      chooseEvent({ id: choice });
    }
  }

  // --- Send test -----------------------------------------------------------

  function chosenType() {
    return state.types.find((type) => type.name === $('test-type').value);
  }

  function drawTemplateChoice() {
    const type = chosenType();
    const strings = type.properties.filter((property) => property.type === 'string' && !property.secret);
    const preferred = strings.find((property) => property.name === 'template') ||
                      strings.find((property) => property.name === 'body') || strings[0];
    $('test-template-property').replaceChildren(...strings.map((property) => {
      const option = new Option(property.name, property.name);
      option.selected = property === preferred;
      return option;
    }));
    drawPropertyFields();
  }

  function fieldId(name) {
    return `property-${name}`;
  }

  // A field for each property the page can set; the one that receives the
  // template and the observables, which come from rules, are left out.
  function drawPropertyFields() {
    const type = chosenType();
    const templateProperty = $('test-template-property').value;
    const fields = [];
    for (const property of type.properties) {
      if (property.type === 'observables' || property.name === templateProperty) {
        continue;
      }
      const row = document.createElement('div');
      row.className = 'property';
      const label = document.createElement('label');
      label.htmlFor = fieldId(property.name);
      label.textContent = property.name;
      const field = document.createElement('input');
      field.id = fieldId(property.name);
      field.dataset.name = property.name;
      field.autocomplete = 'off';
      if (property.type === 'bool') {
        field.type = 'checkbox';
        field.checked = property.default === true;
      } else if (property.type === 'integer') {
        field.type = 'number';
        field.value = property.default === null ? '' : String(property.default);
      } else if (property.secret) {
        field.type = 'password';
        field.placeholder = 'not set';
        field.autocomplete = 'new-password';
      } else {
        field.type = 'text';
        field.value = Array.isArray(property.default) ? property.default.join(', ') : (property.default ?? '');
      }
      const description = document.createElement('span');
      description.className = 'help';
      description.id = `${field.id}-help`;
      description.textContent = property.description;
      field.setAttribute('aria-describedby', description.id);
      row.append(label, field, description);
      fields.push(row);
    }
    const legend = document.createElement('legend');
    legend.textContent = `Properties of ${type.name}`;
    $('test-properties').replaceChildren(legend, ...fields);
  }

  // The properties whose fields differ from the type's defaults, as JSON
  // values of their types; a secret only when one was typed.
  function changedProperties() {
    const type = chosenType();
    const properties = {};
    for (const property of type.properties) {
      const field = $(fieldId(property.name));
      if (!field) {
        continue;
      }
      if (property.type === 'bool') {
        if (field.checked !== property.default) {
          properties[property.name] = field.checked;
        }
      } else if (property.type === 'integer') {
        if (field.value !== String(property.default)) {
          // Sent as typed: the API names a value that is no integer.
          properties[property.name] = /^-?\d+$/.test(field.value) ? Number(field.value) : field.value;
        }
      } else if (property.secret) {
        if (field.value !== '') {
          properties[property.name] = field.value;
        }
      } else {
        const shown = Array.isArray(property.default) ? property.default.join(', ') : (property.default ?? '');
        if (field.value !== shown) {
          properties[property.name] = field.value;
        }
      }
    }
    return properties;
  }

  function line(className, text) {
    const paragraph = document.createElement('p');
    paragraph.className = className;
    paragraph.textContent = text;
    return paragraph;
  }

  async function sendTest(submitted) {
    submitted.preventDefault();
    const outcome = $('test-outcome');
    const button = $('send-test');
    state.texts.set(state.active, input.value);
    const request = {
      type: $('test-type').value,
      properties: changedProperties(),
      templateProperty: $('test-template-property').value,
      template: state.texts.get(kMainTab),
      text: $('test-text').value,
    };
    button.disabled = true;
    outcome.replaceChildren(line('help', 'Sending…'));
    try {
      const answer = await call('POST', '/api/test', request);
      const lines = [line('audit', `Audit: ${answer.audit}`)];
      if (answer.outcome === 'executed') {
        lines.push(line('success', answer.result ? 'Executed.' : 'Executed (no result).'));
      } else if (answer.code !== undefined) {
        lines.push(line('error', `Failed with code ${answer.code} (${answer.key})`));
      } else {
        lines.push(line('error', `Failed: ${answer.failure}`));
      }
      if (answer.detail) {
        lines.push(line('detail', `Detail: ${answer.detail}`));
      }
      outcome.replaceChildren(...lines);
    } catch (error) {
      const details = error.body && error.body.error;
      if (details && details.kind === 'template') {
        outcome.replaceChildren(line('error', `The template does not compile: ${placeText(details)}: ${details.message}`));
      } else {
        outcome.replaceChildren(line('error', `Not sent: ${error.message}`));
      }
    } finally {
      button.disabled = false;
    }
  }

  // --- Start ---------------------------------------------------------------

  function wireEditor() {
    input.addEventListener('input', () => {
      redraw();
      scheduleRender();
    });
    input.addEventListener('scroll', syncScroll);
    $('escape-choice').addEventListener('change', scheduleRender);
    $('event-choice').addEventListener('change', onEventChoice);
    $('use-pasted').addEventListener('click', () => chooseEvent({ json: $('pasted-event').value }));
    $('add-partial').addEventListener('click', addPartial);
    $('partial-name').addEventListener('keydown', (key) => {
      if (key.key === 'Enter') {
        key.preventDefault();
        addPartial();
      }
    });
    $('remove-partial').addEventListener('click', removePartial);
    $('test-type').addEventListener('change', drawTemplateChoice);
    $('test-template-property').addEventListener('change', drawPropertyFields);
    $('test-form').addEventListener('submit', sendTest);
  }

  async function start() {
    wireEditor();
    if (!token) {
      showConnectionProblem('This address lacks the token: open the address that orv-action studio printed.');
      return;
    }
    let examples = null;
    try {
      examples = await call('GET', '/api/examples');
    } catch (error) {
      showConnectionProblem(`The studio does not answer: ${error.message}`);
      return;
    }
    $('escape-choice').replaceChildren(...examples.escapes.map((name) => new Option(name, name)));
    const choices = examples.events.map((event) => {
      const option = new Option(event.label, event.id);
      option.title = event.source;
      return option;
    });
    choices.push(new Option('Paste an event…', kPastedEvent));
    $('event-choice').replaceChildren(...choices);
    input.value = examples.template;
    state.texts.set(kMainTab, examples.template);
    drawTabs();
    redraw();
    await chooseEvent({ id: examples.events[0].id });
    try {
      state.types = (await call('GET', '/api/types')).types;
    } catch (error) {
      $('test-outcome').replaceChildren(line('error', `The action types cannot be listed: ${error.message}`));
      return;
    }
    $('test-type').replaceChildren(...state.types.map((type) => new Option(type.name, type.name)));
    if (state.types.length > 0) {
      drawTemplateChoice();
    } else {
      $('send-test').disabled = true;
    }
    document.body.dataset.ready = 'true';
  }

  start();
})();
