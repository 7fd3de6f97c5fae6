// Sets up the page and reacts to the user.

let list;
let map;
const gallery = { byGroup: new Map(), of: (group) => gallery.byGroup.get(group) ?? (group >= 0 && group <= LastGallery) };
const sorting = { key: 'place', isDescending: false };

// The result in a sentence or two.
function describeResult({ files: count, by: [whole, open, truncated, damaged] }) {
  if (count === 0) {
    return '';
  }
  const are = (number, what) => `${formatNumber(number)} ${number === 1 ? 'is' : 'are'} ${what}`;
  const others = [[open, `the size of ${formatNumber(open)} is an estimate`], [truncated, are(truncated, 'cut short')],
    [damaged, are(damaged, 'damaged')]].filter(([number]) => number > 0).map(([, text]) => text).join(', ');
  const first = whole === count ? (count === 1 ? 'The file is whole.' : `All ${formatNumber(count)} files are whole.`)
    : `${formatNumber(whole)} of ${plural(count, 'file')} ${whole === 1 ? 'is' : 'are'} whole.`;
  return others ? `${first} ${others[0].toUpperCase()}${others.slice(1)}.` : first;
}

function showHead() {
  const image = data.image || 'an unknown medium';
  byId('title').textContent = image.slice(image.lastIndexOf('/') + 1) || image;
  document.title = `${byId('title').textContent} – recovered files`;
  byId('subtitle').textContent = image;
  const all = countTypes().reduce(addRows, noFiles());
  const figure = (value, name) => make('div', {}, make('dt', {}, name), make('dd', {}, value));
  byId('figures').replaceChildren(
    figure(formatNumber(all.files), all.files === 1 ? 'file' : 'files'), figure(formatSize(all.bytes), 'recovered'),
    figure(formatNumber(all.by[0]), 'whole'), figure(formatNumber(all.files - all.by[0]), 'to check'));
  byId('lead').textContent = describeResult(all);
  const notices = [];
  if (files.count === 0) {
    notices.push('There are no recovered files in this folder.');
  }
  if (!data.isComplete) {
    notices.push('The run was stopped before its end: resuming it may find more files.');
  }
  if (data.unreadable.length > 0) {
    notices.push('Parts of the medium could not be read; the files have zeros there.');
  }
  if (data.damagedLines > 0) {
    notices.push(`${plural(data.damagedLines, 'line')} of the report could not be read.`);
  }
  byId('notices').replaceChildren(...notices.map((text) => make('p', { className: 'notice' }, text)));
}

function toggle(button, isOn) {
  button.setAttribute('aria-pressed', isOn);
}

function showTools() {
  const tab = (group, name) => {
    const button = make('button', { type: 'button', 'data-group': group }, name, ' ', make('span', { className: 'count' }));
    button.addEventListener('click', () => {
      filter.group = group;
      update();
    });
    return button;
  };
  const groups = groupNames.map((name, group) => [group, name]).filter(([group]) => groupOfType.includes(group));
  byId('groups').replaceChildren(tab(-1, 'All'), ...groups.map(([group, name]) => tab(group, name)));
  const present = new Set(files.verdict);
  byId('verdicts').replaceChildren(...verdicts.flatMap((name, verdict) => {
    if (!present.has(verdict)) {
      return [];
    }
    const chip = make('button', { type: 'button', 'aria-pressed': 'false', 'data-verdict': verdict,
      title: verdictMeanings[verdict] },
      make('i', { className: `dot ${name}` }), name, ' ', make('span', { className: 'count' }));
    chip.addEventListener('click', () => {
      if (!filter.verdicts.delete(verdict)) {
        filter.verdicts.add(verdict);
      }
      update();
    });
    return [chip];
  }));
  const types = data.types.map(([extension, name], type) => [type, `${extension} – ${name}`])
    .sort((a, b) => a[1].localeCompare(b[1]));
  byId('type').replaceChildren(make('option', { value: -1 }, 'all'),
    ...types.map(([type, name]) => make('option', { value: type }, name)));
  byId('sort').replaceChildren(...Object.entries(sorts)
    .filter(([key]) => (key !== 'taken' || hasColumn('taken')) && (key !== 'pixels' || hasColumn('width')))
    .map(([key, [name]]) => make('option', { value: key }, name)));
  document.querySelectorAll('.taken').forEach((label) => (label.hidden = !hasColumn('taken')));
}

const columnHeads = () => [['name', 'c-name'], ['type', 'c-type'], ['verdict', 'c-verdict'], ['size', 'c-size'],
  ['place', 'c-place'], ...(hasColumn('taken') ? [['taken', 'c-taken']] : [])];

function showColumns(isGallery) {
  byId('columns').hidden = isGallery;
  byId('columns').replaceChildren(...columnHeads().map(([key, className]) => {
    const arrow = sorting.key === key ? (sorting.isDescending ? ' ↓' : ' ↑') : '';
    const head = make('button', { type: 'button', tabIndex: -1, className: `cell ${className}` },
      (key === 'place' ? 'Sector' : sorts[key][0]) + arrow);
    head.addEventListener('click', () => sortBy(key));
    return head;
  }));
}

function sortBy(key) {
  sorting.isDescending = sorting.key === key ? !sorting.isDescending : startsDescending(key);
  sorting.key = key;
  update();
}

const isFiltered = () => filter.verdicts.size > 0 || filter.type >= 0 || filter.text !== '' || filter.minSize > 0
  || filter.maxSize < Infinity || filter.takenFrom !== '' || filter.takenTo !== '' || filter.place !== null;

function showEmpty() {
  const again = make('button', { type: 'button' }, 'Clear the filters');
  again.addEventListener('click', clearFilter);
  byId('empty').replaceChildren(make('p', {}, files.count === 0 ? 'No files were recovered.'
    : isFiltered() ? 'No file of this kind matches the filters.' : 'There is no file of this kind.'), isFiltered() ? again : '');
}

// Shows the files according to the filters and the order.
function update() {
  const { order, bytes, byGroup, byVerdict } = selectFiles();
  sortFiles(order, sorting.key, sorting.isDescending);
  byId('groups').querySelectorAll('button').forEach((button) => {
    const group = Number(button.dataset.group);
    toggle(button, group === filter.group);
    button.querySelector('.count').textContent = formatNumber(group < 0 ? byGroup.reduce((a, b) => a + b, 0) : byGroup[group]);
  });
  byId('verdicts').querySelectorAll('button').forEach((chip) => {
    const verdict = Number(chip.dataset.verdict);
    toggle(chip, filter.verdicts.has(verdict));
    chip.querySelector('.count').textContent = formatNumber(byVerdict[verdict]);
  });
  const isGallery = gallery.of(filter.group);
  toggle(byId('view-gallery'), isGallery);
  toggle(byId('view-table'), !isGallery);
  byId('sort').value = sorting.key;
  byId('direction').textContent = sorting.isDescending ? '↓' : '↑';
  byId('direction').setAttribute('aria-label', sorting.isDescending ? 'Descending' : 'Ascending');
  const place = filter.place ? ` in sectors ${formatNumber(filter.place[0])} to ${formatNumber(filter.place[1] - 1)}` : '';
  byId('counts').textContent = order.length === files.count ? `${plural(files.count, 'file')}, ${formatSize(bytes)}`
    : `${formatNumber(order.length)} of ${plural(files.count, 'file')}, ${formatSize(bytes)}${place}`;
  byId('clear').hidden = !isFiltered();
  byId('empty').hidden = order.length > 0;
  showEmpty();
  showColumns(isGallery);
  list.show(order, isGallery);
  map?.mark();
  map?.markFile(undefined);
}

function clearFilter() {
  Object.assign(filter, { verdicts: new Set(), type: -1, text: '', minSize: 0, maxSize: Infinity, takenFrom: '',
    takenTo: '', place: null });
  ['text', 'min-size', 'max-size', 'taken-from', 'taken-to'].forEach((id) => (byId(id).value = ''));
  ['min-size', 'max-size'].forEach((id) => byId(id).removeAttribute('aria-invalid'));
  byId('type').value = -1;
  update();
}

function openFile(file) {
  const step = (by) => {
    list.activate(list.active + by);
    showDetails(list.order[list.active], step);
  };
  showDetails(file, step);
  map?.markFile(file);
}

function listen() {
  let waiting;
  byId('text').addEventListener('input', () => {
    clearTimeout(waiting);
    waiting = setTimeout(() => {
      filter.text = byId('text').value;
      update();
    }, 120);
  });
  const onChange = (id, take) => byId(id).addEventListener('change', () => {
    take(byId(id).value);
    update();
  });
  onChange('type', (value) => (filter.type = Number(value)));
  onChange('taken-from', (value) => (filter.takenFrom = value));
  onChange('taken-to', (value) => (filter.takenTo = value));
  byId('sort').addEventListener('change', () => sortBy(byId('sort').value));
  for (const [id, field, none] of [['min-size', 'minSize', 0], ['max-size', 'maxSize', Infinity]]) {
    onChange(id, (value) => {
      const size = parseSize(value);
      byId(id).toggleAttribute('aria-invalid', value !== '' && size === null);
      filter[field] = size ?? none;
    });
  }
  byId('direction').addEventListener('click', () => {
    sorting.isDescending = !sorting.isDescending;
    update();
  });
  byId('clear').addEventListener('click', clearFilter);
  for (const [id, isGallery] of [['view-gallery', true], ['view-table', false]]) {
    byId(id).addEventListener('click', () => {
      gallery.byGroup.set(filter.group, isGallery);
      update();
    });
  }
  byId('more').addEventListener('click', () => {
    byId('more-filters').hidden = !byId('more-filters').hidden;
    byId('more').setAttribute('aria-expanded', !byId('more-filters').hidden);
  });
  byId('theme').addEventListener('click', () => useTheme(byId('theme').getAttribute('aria-pressed') !== 'true'));
  byId('open-summary').addEventListener('click', () => {
    const canvas = fillSummary();
    byId('summary').showModal();
    drawSummaryMap(canvas);
  });
  window.addEventListener('beforeprint', () => {
    const canvas = fillSummary();
    drawSummaryMap(canvas);
  });
  document.addEventListener('keydown', (event) => {
    if (event.key === '/' && !event.target.matches('input, select') && !document.querySelector('dialog[open]')) {
      byId('text').focus();
      event.preventDefault();
    }
  });
  byId('details').addEventListener('keydown', (event) => {
    if (!event.target.matches('video, audio') && (event.key === 'ArrowLeft' || event.key === 'ArrowRight')) {
      byId('details').querySelector(`[aria-label="${event.key === 'ArrowLeft' ? 'Previous' : 'Next'} file"]`).click();
    }
  });
  for (const id of ['details', 'summary']) {
    byId(id).addEventListener('click', (event) => event.target === byId(id) && byId(id).close());
  }
  byId('details').addEventListener('close', () => {
    // The event comes late: another file may have been opened since.
    if (!byId('details').open) {
      byId('details').replaceChildren();
    }
  });
}

function drawSummaryMap(canvas) {
  if (data.imageSize > 0 && map) {
    drawColumns(canvas, map.bin(160), canvas.clientWidth || 640, 48);
  }
}

function useTheme(isDark) {
  document.documentElement.dataset.theme = isDark ? 'dark' : 'light';
  toggle(byId('theme'), isDark);
  map?.draw();
}

showHead();
showTools();
listen();
list = new FileList(openFile, (file) => map?.markFile(file));
const firstGroup = Math.min(...groupOfType);
filter.group = firstGroup <= LastOfPictures ? firstGroup : -1;
useTheme(window.matchMedia('(prefers-color-scheme: dark)').matches);
update();

// The files come first: of very many, all that the map is made of is still on its way.
function showMap() {
  map = new MediumMap((place) => {
    filter.place = place;
    filter.group = -1;
    update();
  });
}
document.addEventListener('DOMContentLoaded', () => requestAnimationFrame(() => setTimeout(showMap, 0)));
