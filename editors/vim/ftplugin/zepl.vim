" Procedures of zepl.
if exists('b:did_ftplugin')
    finish
endif
let b:did_ftplugin = 1

setlocal comments=:# commentstring=#\ %s
setlocal iskeyword=@,48-57,_
" :make lists the mistakes in the quickfix window; carets and remedies are lines of their messages.
setlocal makeprg=zepl\ check\ %:S
setlocal errorformat=%E%f:%l:%c:\ error:\ %m,%W%f:%l:%c:\ warning:\ %m,%W%f:%l:%c:\ caution:\ %m,%C\ \ %m,%-G%.%#
" K shows a command's page.
setlocal keywordprg=zepl\ help

let b:undo_ftplugin = 'setlocal comments< commentstring< iskeyword< makeprg< errorformat< keywordprg<'
