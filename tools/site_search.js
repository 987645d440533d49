// Search on the site without a server: pages that come from files may load scripts, and nothing else.
'use strict';

// The documents that fit the words, the best first.
function found(lunr, documents, words) {
  const byLocation = new Map(documents.map((each) => [each.location, each]));
  const index = lunr(function () {
    this.ref('location');
    this.field('title', { boost: 10 });
    this.field('text');
    documents.forEach((each) => this.add(each));
  });
  // What is typed is no query language, and the last word may be only begun.
  const terms = words.toLowerCase().split(/[^\p{L}\p{N}_]+/u).filter((term) => term.length > 1);
  if (terms.length === 0) return [];
  const results = index.query((query) => {
    terms.forEach((term) => {
      query.term(lunr.stemmer(new lunr.Token(term)).toString(), { boost: 10 });
      query.term(term, { wildcard: lunr.Query.wildcard.TRAILING });
    });
  });
  return results.map((result) => byLocation.get(result.ref));
}

function load(script, then) {
  const element = document.createElement('script');
  element.src = script;
  element.onload = then;
  document.head.appendChild(element);
}

function show(documents) {
  const place = document.getElementById('mkdocs-search-results');
  place.replaceChildren();
  documents.slice(0, 30).forEach((each) => {
    const heading = document.createElement('h3'), link = document.createElement('a'), text = document.createElement('p');
    link.href = base_url + '/' + each.location;
    link.textContent = each.title;
    text.textContent = each.text.slice(0, 200);
    heading.appendChild(link);
    place.append(heading, text);
  });
  if (documents.length === 0) place.textContent = 'Nothing was found.';
}

function start() {
  const field = document.getElementById('mkdocs-search-query');
  if (!field || !document.getElementById('mkdocs-search-results')) return;
  load(base_url + '/search/lunr.js', () => load(base_url + '/search/search_index.js', () => {
    const search = () => show(found(lunr, searchDocuments, field.value));
    field.addEventListener('input', search);
    field.value = new URLSearchParams(window.location.search).get('q') || '';
    search();
  }));
}

if (typeof document !== 'undefined') start();
if (typeof module !== 'undefined') module.exports = { found };
