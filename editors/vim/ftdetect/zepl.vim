autocmd BufNewFile,BufRead *.zp setfiletype zepl
