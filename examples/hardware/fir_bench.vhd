-- Feeds the filter the words of x.bits and writes its results to y_found.bits.
library ieee;
use ieee.std_logic_1164.all;
use ieee.fixed_pkg.all;
use std.textio.all;
use work.vectors.all;

entity fir_bench is
end entity;

architecture behaviour of fir_bench is
  signal clock : std_logic := '0';
  signal x     : sfixed(X_WIDTH - X_FRACTION - 1 downto -X_FRACTION) := (others => '0');
  signal y     : sfixed(Y_WIDTH - Y_FRACTION - 1 downto -Y_FRACTION);
begin
  dut : entity work.fir
    generic map (X_WIDTH, X_FRACTION, C_WIDTH, C_FRACTION, C_COUNT, Y_WIDTH, Y_FRACTION)
    port map (clock, x, y);

  process
    file source   : text open read_mode is "x.bits";
    file target   : text open write_mode is "y_found.bits";
    variable row  : line;
    variable word : bit_vector(X_WIDTH - 1 downto 0);
  begin
    for k in 1 to X_COUNT loop
      readline(source, row);
      read(row, word);
      x <= to_sfixed(to_stdlogicvector(word), x'high, x'low);
      wait for 1 ns;
      clock <= '1';
      wait for 1 ns;
      write(row, to_bitvector(to_slv(y)));
      writeline(target, row);
      clock <= '0';
    end loop;
    wait;
  end process;
end architecture;
