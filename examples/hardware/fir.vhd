-- The filter of fir.v on the fixed-point package: `resize` rounds to the nearest word, ties to the even one, and saturates.
library ieee;
use ieee.std_logic_1164.all;
use ieee.fixed_float_types.all;
use ieee.fixed_pkg.all;
use std.textio.all;

entity fir is
  generic (
    X_WIDTH, X_FRACTION, C_WIDTH, C_FRACTION, TAPS, Y_WIDTH, Y_FRACTION : integer
  );
  port (
    clock : in  std_logic;
    x     : in  sfixed(X_WIDTH - X_FRACTION - 1 downto -X_FRACTION);
    y     : out sfixed(Y_WIDTH - Y_FRACTION - 1 downto -Y_FRACTION)
  );
end entity;

architecture behaviour of fir is
  subtype coefficient is sfixed(C_WIDTH - C_FRACTION - 1 downto -C_FRACTION);
  subtype sample is sfixed(x'range);
  -- Seven bits hold the carries of up to 128 products.
  subtype total is sfixed(x'high + coefficient'high + 8 downto x'low + coefficient'low);
  type coefficient_list is array (0 to TAPS - 1) of coefficient;
  type sample_list is array (0 to TAPS - 1) of sample;

  impure function read_coefficients return coefficient_list is
    file source     : text open read_mode is "c.bits";
    variable row    : line;
    variable word   : bit_vector(C_WIDTH - 1 downto 0);
    variable result : coefficient_list;
  begin
    for k in result'range loop
      readline(source, row);
      read(row, word);
      result(k) := to_sfixed(to_stdlogicvector(word), coefficient'high, coefficient'low);
    end loop;
    return result;
  end function;

  constant coefficients : coefficient_list := read_coefficients;
begin
  process (clock)
    variable taken : sample_list := (others => (others => '0'));
    variable sum   : total;
  begin
    if rising_edge(clock) then
      taken := x & taken(0 to TAPS - 2);
      sum   := (others => '0');
      for k in taken'range loop
        sum := resize(sum + taken(k) * coefficients(k), sum'high, sum'low, fixed_wrap, fixed_truncate);  -- exact
      end loop;
      y <= resize(sum, y'high, y'low);
    end if;
  end process;
end architecture;
